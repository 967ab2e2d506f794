#include "http_server.h"

#include "http_connection.h"

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace tvsimd {
namespace {

// Set on the listener thread while it closes a connection that found too many waiting.
thread_local bool t_refusing = false;

int listeningSocket(const std::string& host, int port, int& boundPort) {
    const std::string where = host + ":" + std::to_string(port);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    if (const int failed = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found); failed != 0) {
        throw std::runtime_error("cannot serve the dashboard on " + where + ": " + gai_strerror(failed));
    }
    int error = 0;
    int listening = -1;
    for (const addrinfo* address = found; address != nullptr && listening < 0; address = address->ai_next) {
        listening = ::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int yes = 1;
        // SO_REUSEADDR only lets a restart bind while old connections linger; a listening socket still refuses.
        if (listening < 0 || setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
            ::bind(listening, address->ai_addr, address->ai_addrlen) != 0 ||
            ::listen(listening, HttpServer::kListenBacklog) != 0) {
            error = errno;
            if (listening >= 0) {
                close(listening);
            }
            listening = -1;
        }
    }
    freeaddrinfo(found);
    sockaddr_storage bound{};
    socklen_t length = sizeof bound;
    if (listening < 0 || getsockname(listening, reinterpret_cast<sockaddr*>(&bound), &length) != 0) {
        throw std::runtime_error("cannot serve the dashboard on " + where + ": " +
                                 std::generic_category().message(error));
    }
    boundPort = ntohs(bound.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(bound).sin6_port
                                                  : reinterpret_cast<const sockaddr_in&>(bound).sin_port);
    return listening;
}

}  // namespace

// The library's thread pool, counting the connections that wait for a thread.
class HttpServer::Pool final : public httplib::TaskQueue {
public:
    Pool(std::atomic<std::size_t>& waiting, std::atomic<std::size_t>& busy)
        : m_threads(kThreads), m_waiting(waiting), m_busy(busy) {}

    void enqueue(std::function<void()> connection) override {
        if (m_waiting.load() >= kMaxWaitingConnections) {
            t_refusing = true;
            connection();
            t_refusing = false;
            return;
        }
        ++m_waiting;
        m_threads.enqueue([this, connection = std::move(connection)] {
            --m_waiting;
            ++m_busy;
            connection();
            --m_busy;
        });
    }
    void shutdown() override { m_threads.shutdown(); }

private:
    httplib::ThreadPool m_threads;
    std::atomic<std::size_t>& m_waiting;
    std::atomic<std::size_t>& m_busy;
};

HttpServer::HttpServer(const std::string& host, int port) {
    svr_sock_ = listeningSocket(host, port, m_port);
    new_task_queue = [this] { return new Pool(m_waiting, m_busy); };
}

HttpServer::~HttpServer() {
    const socket_t unused = svr_sock_.exchange(INVALID_SOCKET);  // still open when it never served
    if (unused != INVALID_SOCKET) {
        close(unused);
    }
}

void HttpServer::shutDown() {
    m_stopping = true;
    stop();
}

bool HttpServer::process_and_close_socket(socket_t sock) {
    HttpConnection connection(sock, m_stopping);
    if (t_refusing) {
        return false;
    }
    const auto anotherWaits = [this] { return m_waiting.load() > 0 && m_busy.load() >= kThreads; };
    bool closed = false;
    while (!closed && !connection.mustClose() && connection.awaitRequest(anotherWaits) &&
           process_request(connection, false, closed, [](httplib::Request&) {})) {
    }
    return true;
}

}  // namespace tvsimd
