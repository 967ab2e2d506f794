#include "http_connection.h"

#include <api_requests.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace tvsimd {
namespace {

constexpr auto kWaitSlice = std::chrono::milliseconds(100);  // how often a wait looks at stopping and yielding
constexpr std::uint32_t kBlankLine = 0x0d0a0d0a;             // "\r\n\r\n"

void describe(const sockaddr_storage& address, std::string& ip, int& port) {
    char text[INET6_ADDRSTRLEN] = "";
    if (address.ss_family == AF_INET6) {
        const auto& v6 = reinterpret_cast<const sockaddr_in6&>(address);
        inet_ntop(AF_INET6, &v6.sin6_addr, text, sizeof text);
        port = ntohs(v6.sin6_port);
    } else {
        const auto& v4 = reinterpret_cast<const sockaddr_in&>(address);
        inet_ntop(AF_INET, &v4.sin_addr, text, sizeof text);
        port = ntohs(v4.sin_port);
    }
    ip = text;
}

}  // namespace

HttpConnection::HttpConnection(int socket, const std::atomic<bool>& stopping)
    : m_socket(socket), m_stopping(stopping) {}

HttpConnection::~HttpConnection() {
    if (m_mustClose) {
        shutdown(m_socket, SHUT_WR);
        const auto until = Clock::now() + kLingerTime;
        while (wait(POLLIN, until) == Wait::Ready && recv(m_socket, m_buffer, sizeof m_buffer, MSG_DONTWAIT) > 0) {
        }
    }
    close(m_socket);
}

bool HttpConnection::awaitRequest(const std::function<bool()>& yield) {
    if (m_begin == m_end && wait(POLLIN, Clock::now() + kIdleTime, yield) != Wait::Ready) {
        return false;
    }
    m_readDeadline = Clock::now() + kRequestReadTime;
    m_inHead = true;
    m_headBytes = 0;
    m_headLines = 0;
    m_lastFour = 0;
    return true;
}

HttpConnection::Wait HttpConnection::wait(short events, Clock::time_point deadline,
                                          const std::function<bool()>& yield) const {
    for (;;) {
        if (m_stopping.load(std::memory_order_relaxed)) {
            return Wait::Ended;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        pollfd ready{m_socket, events, 0};
        const int result = poll(&ready, 1, static_cast<int>(std::clamp(left, {}, kWaitSlice).count()));
        if (result > 0) {
            return Wait::Ready;  // hang-ups and errors too: the next recv or send tells which
        }
        if ((result < 0 && errno != EINTR) || (yield && yield())) {
            return Wait::Ended;
        }
        if (left <= kWaitSlice) {
            return Wait::TimedOut;
        }
    }
}

bool HttpConnection::is_readable() const {
    return m_begin < m_end || wait(POLLIN, m_readDeadline) == Wait::Ready;
}

bool HttpConnection::is_writable() const {
    return wait(POLLOUT, Clock::now() + kWriteTime) == Wait::Ready;
}

ssize_t HttpConnection::fill() {
    for (;;) {
        const ssize_t count = recv(m_socket, m_buffer, sizeof m_buffer, MSG_DONTWAIT);
        if (count >= 0) {
            m_begin = 0;
            m_end = static_cast<std::size_t>(count);
            return count;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
            return -1;
        }
        const Wait waited = wait(POLLIN, m_readDeadline);
        if (waited == Wait::TimedOut) {
            answerEarly(408, "Request Timeout",
                        "the request did not come whole within " + std::to_string(kRequestReadTime.count()) + " s");
        }
        if (waited != Wait::Ready) {
            return -1;
        }
    }
}

ssize_t HttpConnection::read(char* data, size_t size) {
    if (m_answeredEarly) {
        return -1;
    }
    if (m_begin == m_end) {
        const ssize_t filled = fill();
        if (filled <= 0) {
            return filled;
        }
    }
    std::size_t count = std::min(size, m_end - m_begin);
    if (m_inHead && (count = takeHead(count)) == 0) {
        return -1;
    }
    std::memcpy(data, m_buffer + m_begin, count);
    m_begin += count;
    return static_cast<ssize_t>(count);
}

std::size_t HttpConnection::takeHead(std::size_t count) {
    for (std::size_t taken = 0; taken < count;) {
        const char byte = m_buffer[m_begin + taken++];
        m_headLines += byte == '\n' ? 1 : 0;
        m_lastFour = (m_lastFour << 8) | static_cast<unsigned char>(byte);
        if (++m_headBytes > kMaxRequestHeadBytes || m_headLines > kMaxRequestHeadLines) {
            answerEarly(431, "Request Header Fields Too Large",
                        "the request line and headers are over " + std::to_string(kMaxRequestHeadBytes) + " bytes or " +
                            std::to_string(kMaxRequestHeadLines) + " lines");
            return 0;
        }
        if (m_lastFour == kBlankLine) {
            m_inHead = false;
            return taken;
        }
    }
    return count;
}

void HttpConnection::answerEarly(int status, const char* reason, const std::string& message) {
    const std::string body = web::errorBody(message);
    const std::string answer = "HTTP/1.1 " + std::to_string(status) + " " + reason +
                               "\r\nContent-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
                               "\r\nConnection: close\r\n\r\n" + body;
    write(answer.data(), answer.size());
    m_answeredEarly = true;
}

ssize_t HttpConnection::write(const char* data, size_t size) {
    if (m_answeredEarly) {
        return static_cast<ssize_t>(size);  // the early answer was the last word; the library's own is dropped
    }
    // The library writes each answer's status line and headers in one piece; body pieces never start so.
    constexpr const char kStatusLine[] = "HTTP/1.1 ";
    const std::size_t statusAt = sizeof kStatusLine - 1;
    if (size > statusAt && std::memcmp(data, kStatusLine, statusAt) == 0 && data[statusAt] >= '4') {
        m_mustClose = true;
    }
    for (std::size_t sent = 0; sent < size;) {
        const ssize_t count = send(m_socket, data + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0) {
            sent += static_cast<std::size_t>(count);
        } else if ((errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) ||
                   wait(POLLOUT, Clock::now() + kWriteTime) != Wait::Ready) {
            return -1;
        }
    }
    return static_cast<ssize_t>(size);
}

void HttpConnection::get_remote_ip_and_port(std::string& ip, int& port) const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    getpeername(m_socket, reinterpret_cast<sockaddr*>(&address), &length);
    describe(address, ip, port);
}

void HttpConnection::get_local_ip_and_port(std::string& ip, int& port) const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &length);
    describe(address, ip, port);
}

}  // namespace tvsimd
