// One client connection of the dashboard, as the stream the HTTP library reads
// requests from and writes answers to. It holds the connection's bounds: every
// wait is bounded and ends at once when the server stops; a request's line
// and headers are bounded in bytes and lines (the library bounds only each
// line); a request that breaks a bound or comes too slowly is answered here
// (431, 408) and the connection closed, before the library holds any more of
// it. Used by one HTTP thread at a time.
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace tvsimd {

constexpr std::size_t kMaxRequestHeadBytes = std::size_t{32} * 1024;  // the request line and headers together
constexpr int kMaxRequestHeadLines = 100;                             // the request line and 99 headers
constexpr std::chrono::seconds kRequestReadTime{5};  // from a request's first byte until all of it has come
constexpr std::chrono::seconds kIdleTime{5};         // waiting for a request on an open connection
constexpr std::chrono::seconds kWriteTime{5};        // waiting for the client to take more of an answer
constexpr std::chrono::seconds kLingerTime{1};       // reading what is left after an early answer, before closing

class HttpConnection final : public httplib::Stream {
public:
    using Clock = std::chrono::steady_clock;

    // Takes the socket; `stopping` turning true ends every wait within 100 ms.
    HttpConnection(int socket, const std::atomic<bool>& stopping);
    // Closes the socket; after an error answer it first reads (and drops) what the client still sends, for
    // kLingerTime at most, so that the client reads the answer instead of a reset.
    ~HttpConnection() override;

    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    // Waits for the next request: false when the client closed or sent nothing for kIdleTime, the server
    // stops, or `yield` answers true (another connection waits for this thread).
    bool awaitRequest(const std::function<bool()>& yield);
    // Whether the connection must end now: it was answered with an error, here or by the library.
    bool mustClose() const { return m_mustClose; }

    bool is_readable() const override;
    bool is_writable() const override;
    ssize_t read(char* data, size_t size) override;
    ssize_t write(const char* data, size_t size) override;
    void get_remote_ip_and_port(std::string& ip, int& port) const override;
    void get_local_ip_and_port(std::string& ip, int& port) const override;
    socket_t socket() const override { return m_socket; }

private:
    enum class Wait { Ready, TimedOut, Ended };

    Wait wait(short events, Clock::time_point deadline, const std::function<bool()>& yield = {}) const;
    ssize_t fill();  // reads from the socket into the buffer: the count, 0 at its end, -1 when it failed
    // How many of the next `count` buffered bytes the library may take while the head is read; 0 when they
    // break its bounds (answered with 431).
    std::size_t takeHead(std::size_t count);
    void answerEarly(int status, const char* reason, const std::string& message);

    const int m_socket;
    const std::atomic<bool>& m_stopping;
    char m_buffer[4096];
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    Clock::time_point m_readDeadline;
    bool m_inHead = false;
    std::size_t m_headBytes = 0;
    int m_headLines = 0;
    std::uint32_t m_lastFour = 0;  // the head's last four bytes, to see the blank line that ends it
    bool m_answeredEarly = false;
    bool m_mustClose = false;
};

}  // namespace tvsimd
