// A client process of tvsimd for the dashboard's browser test: it talks to the
// daemon's Platform, Value and Action interfaces the way a web engine's
// process on the remote platform does, with a connection of its own.
//   remote_client ADDRESS get PATH   prints the string value; exit 2 with "status N" when the getter fails
//   remote_client ADDRESS pause-av   the web engine takes video and audio; prints the outcome
#include "bus_processes.h"

#include <cstdint>
#include <cstring>
#include <iostream>
#include <string>

namespace {

using tvsimd_test::BusClient;
using tvsimd_test::kControlPath;

constexpr const char* kSwitchPath = "orvik.sl2.action.source.switch";
constexpr const char* kSwitchObject = "/io/sysaccess/TvSim/model/orvik/sl2/action/source/switch";

struct Message {
    explicit Message(sd_bus_message* message) : m(message) {}
    ~Message() { sd_bus_message_unref(m); }
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;
    sd_bus_message* m;
};

int fail(const std::string& what) {
    std::cerr << "remote_client: " << what << "\n";
    return 1;
}

// Platform.Connect; the connection id and its object path, or 0.
std::uint64_t connect(BusClient& client, const char* path, std::string& object) {
    Message reply(client.call(kControlPath, "io.sysaccess.TvSim.Platform", "Connect", "s", path));
    int status = -1;
    std::uint64_t id = 0;
    const char* objectPath = nullptr;
    int type = 0;
    if (reply.m == nullptr || sd_bus_message_read(reply.m, "itoi", &status, &id, &objectPath, &type) < 0 ||
        status != 0) {
        return 0;
    }
    object = objectPath;
    return id;
}

int get(BusClient& client, const char* path) {
    std::string object;
    const std::uint64_t id = connect(client, path, object);
    if (id == 0) {
        return fail(std::string("cannot connect to ") + path + ": " + client.errorMessage());
    }
    Message reply(client.call(object.c_str(), "io.sysaccess.TvSim.Value", "GetValue", "t", id));
    int status = -1;
    const char* text = nullptr;
    if (reply.m == nullptr || sd_bus_message_read(reply.m, "i", &status) < 0) {
        return fail("GetValue: " + client.errorMessage());
    }
    if (status != 0) {
        std::cout << "status " << status << "\n";
        return 2;
    }
    if (sd_bus_message_read(reply.m, "v", "s", &text) < 0) {
        return fail("the value is not a string");
    }
    std::cout << text << "\n";
    return 0;
}

int pauseAV(BusClient& client) {
    std::string object;
    const std::uint64_t id = connect(client, kSwitchPath, object);
    if (id == 0) {
        return fail("cannot connect to the source switch: " + client.errorMessage());
    }
    // Tag, "take resources", the requester, video + audio.
    Message reply(client.call(kSwitchObject, "io.sysaccess.TvSim.Action", "Invoke", "ta(nnns)", id, 4, 0, 0, 0,
                              "remote-client-1", 0, 1, 0, "2", 0, 2, 0, "hbbtv", 0, 3, 0, "3"));
    int status = -1;
    std::uint32_t actionId = 0;
    if (reply.m == nullptr || sd_bus_message_read(reply.m, "iu", &status, &actionId) < 0 || status != 0) {
        return fail("Invoke refused: " + client.errorMessage());
    }
    if (!client.waitForSignals(1)) {
        return fail("no outcome arrived");
    }
    std::cout << client.signals().front().member << " " << actionId << "\n";
    return client.signals().front().member == "Result" ? 0 : 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        return fail("usage: remote_client ADDRESS get PATH | pause-av");
    }
    BusClient client(argv[1]);
    if (std::strcmp(argv[2], "get") == 0 && argc == 4) {
        return get(client, argv[3]);
    }
    if (std::strcmp(argv[2], "pause-av") == 0) {
        return pauseAV(client);
    }
    return fail(std::string("unknown command ") + argv[2]);
}
