#include "dashboard_server.h"

#include "http_server.h"
#include "log.h"
#include "web_assets.h"

#include <api_requests.h>

#include <arpa/inet.h>

#include <cstdio>
#include <random>
#include <stdexcept>

namespace tvsimd {
namespace {

constexpr auto kSamplingPeriod = std::chrono::milliseconds(50);  // changes show well within 200 ms
constexpr auto kKeepAlive = std::chrono::milliseconds(1000);     // how soon a gone page frees its thread
static_assert(kMaxEventStreams <= HttpServer::kThreads / 4, "most threads are left for the page and the API");
constexpr const char* kTokenHeader = "X-TvSim-Token";
constexpr const char* kTokenPlaceholder = "@TVSIM_TOKEN@";
constexpr const char* kJsonType = "application/json";

std::string makeToken() {
    std::random_device random;
    std::string token;
    for (int word = 0; word < 4; ++word) {
        char hex[9];
        std::snprintf(hex, sizeof hex, "%08x", static_cast<unsigned>(random()));
        token += hex;
    }
    return token;
}

bool isLoopback(const std::string& host) {
    in_addr v4{};
    if (inet_pton(AF_INET, host.c_str(), &v4) == 1) {
        return (ntohl(v4.s_addr) >> 24) == 127;
    }
    in6_addr v6{};
    return host == "localhost" || (inet_pton(AF_INET6, host.c_str(), &v6) == 1 && IN6_IS_ADDR_LOOPBACK(&v6));
}

bool isWildcard(const std::string& host) {
    return host == "0.0.0.0" || host == "::" || host.empty();
}

void replyJson(httplib::Response& response, int status, const std::string& body) {
    response.status = status;
    response.set_content(body, kJsonType);
}

void replyError(httplib::Response& response, int status, const std::string& message) {
    replyJson(response, status, web::errorBody(message));
}

const char* defaultMessage(int status) {
    switch (status) {
        case 404:
            return "no such resource";
        case 405:
            return "method not allowed";
        case 413:
            return "the body is too large";
        case 414:
            return "the request line is too long";
        default:
            return status >= 500 ? "internal error" : "bad request";
    }
}

// A command route: token checked, body decoded, command applied, {} answered.
template <typename Decode, typename Apply>
httplib::Server::Handler commandRoute(const std::string& token, Decode decode, Apply apply) {
    return [&token, decode, apply](const httplib::Request& request, httplib::Response& response) {
        if (request.get_header_value(kTokenHeader) != token) {
            replyError(response, 403, std::string("a change needs the page's token in ") + kTokenHeader);
            return;
        }
        try {
            apply(decode(request.body));
            replyJson(response, 200, "{}");
        } catch (const web::ApiError& error) {
            replyError(response, error.status(), error.what());
        } catch (const tvsim::ControlError& refused) {
            replyError(response, web::httpStatusOf(refused.kind()), refused.what());
        } catch (const std::exception& error) {
            replyError(response, 500, error.what());
        }
    };
}

}  // namespace

HttpEndpoint parseHttpEndpoint(const std::string& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon + 1 == text.size()) {
        throw std::runtime_error("bad --http address '" + text + "': give ADDR:PORT, such as 127.0.0.1:8080");
    }
    HttpEndpoint endpoint;
    endpoint.host = text.substr(0, colon);
    if (endpoint.host.size() >= 2 && endpoint.host.front() == '[' && endpoint.host.back() == ']') {
        endpoint.host = endpoint.host.substr(1, endpoint.host.size() - 2);
    }
    const std::string port = text.substr(colon + 1);
    if (port.find_first_not_of("0123456789") != std::string::npos || port.size() > 5 || std::stoi(port) > 65535) {
        throw std::runtime_error("bad --http port '" + port + "': give a number from 0 to 65535");
    }
    endpoint.port = std::stoi(port);
    return endpoint;
}

DashboardServer::DashboardServer(const tvsim::Simulator& simulator, tvsim::LocalTvControl& local,
                                 tvsim::TvControl& control, const ScenarioSnapshot& scenario,
                                 const HttpEndpoint& endpoint, bool allowRemote)
    : m_reader(simulator, local, scenario), m_commands(control), m_token(makeToken()) {
    if (isWildcard(endpoint.host)) {
        throw std::runtime_error("--http needs the address clients use (the Host header must name it), not '" +
                                 endpoint.host + "'");
    }
    if (!allowRemote && !isLoopback(endpoint.host)) {
        throw std::runtime_error("--http " + endpoint.host +
                                 " is not a loopback address; add --http-allow-remote to serve other machines");
    }
    m_server = std::make_unique<HttpServer>(endpoint.host, endpoint.port);
    m_server->set_payload_max_length(kMaxRequestBody);
    const bool v6 = endpoint.host.find(':') != std::string::npos;
    m_authority = (v6 ? "[" + endpoint.host + "]" : endpoint.host) + ":" + std::to_string(m_server->port());
    addRoutes();
    m_sampler = std::make_unique<DashboardSampler>(m_reader, m_feed, kSamplingPeriod);
    m_listener = std::thread([this] { m_server->listen_after_bind(); });
    // stop() does nothing to a server that is not running yet, so a stop right after the start would never end.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!m_server->is_running() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

DashboardServer::~DashboardServer() {
    m_feed.close();  // event streams end, so that stopping can join the worker threads
    m_server->shutDown();
    if (m_listener.joinable()) {
        m_listener.join();
    }
}

void DashboardServer::addRoutes() {
    // Every request, before routing: the Host must be the bound address.
    m_server->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        if (request.get_header_value("Host") != m_authority) {
            replyError(response, 403, "the Host header must be " + m_authority);
            return httplib::Server::HandlerResponse::Handled;
        }
        return httplib::Server::HandlerResponse::Unhandled;
    });
    // Statuses the library sets by itself (404, 413, ...) get a JSON body too.
    m_server->set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty()) {
            replyError(response, response.status, defaultMessage(response.status));
        }
    });
    for (const WebAsset& asset : webAssets()) {
        const std::string route = asset.name == "index.html" ? "/" : "/" + std::string(asset.name);
        m_server->Get(route, [this, &asset](const httplib::Request&, httplib::Response& response) {
            std::string content(asset.content);
            const std::size_t placeholder = content.find(kTokenPlaceholder);
            if (placeholder != std::string::npos) {
                content.replace(placeholder, std::string(kTokenPlaceholder).size(), m_token);
            }
            response.set_header("Cache-Control", "no-store");
            response.set_content(content, std::string(asset.type));
        });
    }
    m_server->Get("/api/picture", [this](const httplib::Request&, httplib::Response& response) {
        const auto [sequence, picture] = m_sampler->picture();
        response.set_header("Cache-Control", "no-store");
        replyJson(response, 200, "{\"sequence\":" + std::to_string(sequence) + ",\"picture\":" + picture + "}");
    });
    m_server->Get("/api/events", [this](const httplib::Request& request, httplib::Response& response) {
        std::uint64_t since = 0;
        const std::string sinceText = request.get_param_value("since");
        if (sinceText.empty() || sinceText.size() > 19 ||
            sinceText.find_first_not_of("0123456789") != std::string::npos) {
            replyError(response, 400, "'since' must be the sequence number of the picture the page shows");
            return;
        }
        since = std::stoull(sinceText);
        if (m_eventStreams.fetch_add(1) >= kMaxEventStreams) {
            m_eventStreams.fetch_sub(1);
            replyError(
                response, 503,
                "the dashboard streams to at most " + std::to_string(kMaxEventStreams) + " pages at once; close one");
            return;
        }
        response.set_header("Cache-Control", "no-store");
        response.set_chunked_content_provider(
            "text/event-stream",
            [this, since](std::size_t, httplib::DataSink& sink) mutable {
                std::vector<ChangeFeed::Change> changes;
                std::string text;
                switch (m_feed.waitAfter(since, kKeepAlive, changes)) {
                    case ChangeFeed::Wait::Changes:
                        for (const ChangeFeed::Change& change : changes) {
                            text += "id: " + std::to_string(change.sequence) + "\nevent: change\ndata: " + change.json +
                                    "\n\n";
                            since = change.sequence;
                        }
                        return sink.write(text.data(), text.size());
                    case ChangeFeed::Wait::TimedOut:
                        text = ": still here\n\n";  // a gone page shows as a failed write
                        return sink.write(text.data(), text.size());
                    case ChangeFeed::Wait::TooFarBehind:
                        text = "event: resync\ndata: {}\n\n";
                        sink.write(text.data(), text.size());
                        break;
                    case ChangeFeed::Wait::Closed:
                        break;
                }
                sink.done();
                return true;
            },
            [this](bool) { m_eventStreams.fetch_sub(1); });
    });
    m_server->Post("/api/value", commandRoute(m_token, web::decodeSetValue,
                                              [this](const web::SetValueRequest& r) { m_commands.setValue(r); }));
    m_server->Post("/api/fault", commandRoute(m_token, web::decodeFault,
                                              [this](const web::FaultRequest& r) { m_commands.fault(r); }));
    m_server->Post("/api/answer", commandRoute(m_token, web::decodeAnswer,
                                               [this](const web::AnswerRequest& r) { m_commands.answer(r); }));
}

}  // namespace tvsimd
