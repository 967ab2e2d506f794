// The dashboard under hostile and heavy use, over raw loopback sockets: one
// tvsimd lives through every step, and each bound holds where docs/simulator.md
// (the dashboard's limits) says it does.
#include "bus_processes.h"
#include "run_process.h"

#include <tv_control_proxy.h>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <regex>

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kChannels = "orvik.sl2.table.channels";

// Loopback sockets to the dashboard, closed with this object; each read waits at most 8 s.
struct Sockets {
    int port = 0;
    std::vector<int> fds;
    ~Sockets() {
        for (int fd : fds) {
            close(fd);
        }
    }
    int open(const std::string& request = "") {
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{AF_INET, htons(static_cast<std::uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
        const timeval wait{8, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        send(fd, request.data(), request.size(), MSG_NOSIGNAL);
        return fds.emplace_back(fd);
    }
    std::string get(const std::string& target) const {
        return "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) + "\r\n\r\n";
    }
};

// What the peer sent until `until` appeared, it closed, a read timed out or 10 s passed.
std::string receive(int fd, const std::string& until) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    std::string text;
    char buffer[4096];
    for (ssize_t count; text.find(until) == std::string::npos && Clock::now() < deadline &&
                        (count = recv(fd, buffer, sizeof buffer, 0)) > 0;) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
}

// A field of /proc/PID/stat, numbered from 1 as proc(5) does (tvsimd's name holds no space).
long statField(int pid, int number) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string field;
    for (int at = 1; at <= number && in >> field; ++at) {
    }
    return std::stol(field);
}

TEST(DashboardLimits, HostileAndHeavyUseStayBounded) {
    tvsimd_test::PrivateDbusDaemon bus;
    tvsimd_test::ChildProcess tvsimd({TVSIMD_PATH, "--address", bus.address(), "--http", "127.0.0.1:0"});
    std::smatch port;
    const std::string dashboard = tvsimd.readLine();
    ASSERT_TRUE(std::regex_match(dashboard, port, std::regex("dashboard http://127.0.0.1:([0-9]+)/"))) << dashboard;
    ASSERT_EQ(tvsimd.readLine(), "ready");
    Sockets sockets{std::stoi(port[1]), {}};
    httplib::Client http("127.0.0.1", sockets.port);
    http.set_read_timeout(30);  // a picture of 250,000 rows takes long under the sanitizers
    const auto picture = [&] {
        const httplib::Result answer = http.Get("/api/picture");
        return nlohmann::json::parse(answer ? answer->body : "null");
    };
    tvsim::bus::TvControlProxy tv(bus.address(), std::chrono::milliseconds(20000));

    SCOPED_TRACE("a change over the history's bytes resyncs a stream; a long value is shown cut; idle costs nothing");
    const int stream = sockets.open(sockets.get("/api/events?since=" + picture()["sequence"].dump()));
    tv.setRows(kChannels, std::vector<tvsim::Row>(250000, {"u", "dvb://1.1.1", "n", "1", "f"}));
    tv.setValue("orvik.sl2.str.tvservice.channel-name", std::string(std::size_t{1} << 19, 'x'));
    EXPECT_NE(receive(stream, "\n\n\n").find("event: resync"), std::string::npos);
    const nlohmann::json name = picture()["picture"]["values"]["orvik.sl2.str.tvservice.channel-name"];
    EXPECT_EQ(name.value("cut", 0), 1 << 19);
    EXPECT_LE(name["value"].get<std::string>().size(), 4096U);
    const auto cpuTicks = [&] { return statField(tvsimd.pid(), 14) + statField(tvsimd.pid(), 15); };
    const long busy = cpuTicks();
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_LT(cpuTicks() - busy, 20) << "CPU ticks in 2 s while nothing changed";
    tv.setRows(kChannels, {});  // so that the time to stop, below, is not the time to free them

    SCOPED_TRACE("a header flood is answered early and leaves no memory behind");
    const long rssPages = statField(tvsimd.pid(), 24);
    const int flood = sockets.open("GET / HTTP/1.1\r\n");
    std::string lines;
    for (int line = 0; line < 8192; ++line) {
        lines += "X-Flood: 1\r\n";
    }
    for (int round = 0; round < 200 && send(flood, lines.data(), lines.size(), MSG_NOSIGNAL) > 0; ++round) {
    }
    send(flood, "\r\n", 2, MSG_NOSIGNAL);
    EXPECT_EQ(receive(flood, "\r\n").substr(0, 12), "HTTP/1.1 431");
    EXPECT_LT(statField(tvsimd.pid(), 24) - rssPages, 64 << 20 >> 12) << "4 KiB pages kept";

    SCOPED_TRACE("idle event streams and slow requests leave the page reachable; only they are refused or cut off");
    const std::string events = sockets.get("/api/events?since=" + picture()["sequence"].dump());
    const std::regex oneLineError("\r\n\r\n\\{\"error\":\"[^\n]+\"\\}$");
    int refused = 0;
    for (int count = 0; count < 16; ++count) {
        const int fd = sockets.open(events);
        const std::string answer = receive(fd, "\r\n\r\n");
        refused += answer.rfind("HTTP/1.1 503", 0) == 0 && std::regex_search(answer + receive(fd, "}"), oneLineError);
    }
    EXPECT_EQ(refused, 8);
    int slow = 0;
    for (int count = 0; count < 16; ++count) {
        slow = sockets.open("GET / HTTP/1.1\r\n");
    }
    const httplib::Result page = httplib::Client("127.0.0.1", sockets.port).Get("/");
    EXPECT_TRUE(page && page->status == 200);
    EXPECT_EQ(receive(slow, "\r\n").substr(0, 12), "HTTP/1.1 408");

    SCOPED_TRACE("a second tvsimd on the same port refuses to start");
    const testsupport::ProcessRun second = testsupport::runShellCommand(
        "timeout 10 " + testsupport::shellQuoted(TVSIMD_PATH) + " --private-bus --http 127.0.0.1:" + port[1].str());
    EXPECT_EQ(second.exitCode, 1);
    EXPECT_TRUE(std::regex_match(second.err, std::regex("tvsimd: [^\n]*127.0.0.1:" + port[1].str() + "[^\n]*\n")))
        << second.err;

    SCOPED_TRACE("SIGTERM ends tvsimd at once, with idle keep-alive connections open");
    for (int count = 0; count < 100; ++count) {
        sockets.open(sockets.get("/style.css"));
    }
    const auto signalled = Clock::now();
    EXPECT_EQ(tvsimd.stop(SIGTERM), 0);
    EXPECT_LT(Clock::now() - signalled, std::chrono::seconds(1));
}

}  // namespace
