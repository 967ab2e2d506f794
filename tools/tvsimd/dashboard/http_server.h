// The dashboard's HTTP server: the library's request parsing and routing,
// over connections bounded by HttpConnection.
//
// The library is Debian's compiled one: its CPPHTTPLIB_* limits were fixed
// when it was built (8,192 bytes for the request line and for each header
// line, none for the number of headers), so no macro is defined here; the
// bounds it lacks are kept by HttpConnection and this class at run time.
//
// It listens on a socket bound here without SO_REUSEPORT (the library would
// set it), so a port that another process listens on is refused, never
// shared. kThreads threads serve the connections; when all of them are busy
// and another connection waits, one that waits idle for its next request gives
// its thread up; a connection that finds kMaxWaitingConnections waiting is
// closed at once.
#pragma once

#include <httplib.h>

#include <atomic>
#include <cstddef>
#include <string>

namespace tvsimd {

class HttpServer final : public httplib::Server {
public:
    static constexpr std::size_t kThreads = 32;
    static constexpr std::size_t kMaxWaitingConnections = 256;
    static constexpr int kListenBacklog = 64;

    // Binds and listens; throws std::runtime_error with one line when it cannot (a port in use among them).
    HttpServer(const std::string& host, int port);
    ~HttpServer() override;

    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    int port() const { return m_port; }
    // Ends every connection within 100 ms and makes listen_after_bind() return.
    void shutDown();

private:
    class Pool;

    bool process_and_close_socket(socket_t sock) override;

    std::atomic<bool> m_stopping{false};
    std::atomic<std::size_t> m_waiting{0};  // connections accepted and not yet given a thread
    std::atomic<std::size_t> m_busy{0};     // threads serving a connection
    int m_port = 0;
};

}  // namespace tvsimd
