// The TV service's control interfaces called with sd-bus, one blocking call
// at a time from sactl's main thread.
#include "tv_service.h"

#include "session.h"

#include <bus_names.h>
#include <value_codec.h>

#include <systemd/sd-bus.h>
#include <tvsim/service_flush.h>

#include <chrono>
#include <cstdlib>
#include <cstring>

namespace sactl {
namespace {

using Message = std::unique_ptr<sd_bus_message, decltype(&sd_bus_message_unref)>;

// A failed sd-bus operation on a message, as one line.
int checked(int result, const char* what) {
    if (result < 0) {
        throw CommandError(std::string("D-Bus message ") + what + ": " + std::strerror(-result));
    }
    return result;
}

lomodelapi::ObjectTypeSpec objectTypeNamed(const std::string& name) {
    for (lomodelapi::ObjectTypeSpec type :
         {lomodelapi::OBJECT_TYPE_NUMERIC_INTEGER, lomodelapi::OBJECT_TYPE_NUMERIC_INT64,
          lomodelapi::OBJECT_TYPE_STRING, lomodelapi::OBJECT_TYPE_VECTOR_NUMERIC_INTEGER,
          lomodelapi::OBJECT_TYPE_VECTOR_STRING, lomodelapi::OBJECT_TYPE_ACTION, lomodelapi::OBJECT_TYPE_TABLE}) {
        if (tvsim::objectTypeName(type) == name) {
            return type;
        }
    }
    return lomodelapi::OBJECT_TYPE_NONE;
}

const char* replyKind(tvsim::Reply::Kind kind) {
    switch (kind) {
        case tvsim::Reply::Kind::Failure:
            return "failure";
        case tvsim::Reply::Kind::NoReply:
            return "none";
        case tvsim::Reply::Kind::Results:
            break;
    }
    return "results";
}

class TvService final : public TvControl {
public:
    TvService(const std::string& address, int timeoutMs)
        : m_timeout(std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::milliseconds(timeoutMs))) {
        const char* session = std::getenv("DBUS_SESSION_BUS_ADDRESS");
        m_address = address == "session" ? (session != nullptr ? session : "") : address;
        if (m_address.empty()) {
            throw CommandError("the session bus is asked for, but DBUS_SESSION_BUS_ADDRESS is not set");
        }
        int result = sd_bus_new(&m_bus);
        if (result >= 0) {
            result = sd_bus_set_address(m_bus, m_address.c_str());
        }
        if (result >= 0) {
            result = sd_bus_set_bus_client(m_bus, 1);
        }
        if (result >= 0) {
            result = sd_bus_start(m_bus);
        }
        if (result < 0) {
            sd_bus_unref(m_bus);
            throw CommandError("cannot reach the bus at '" + m_address + "': " + std::strerror(-result));
        }
    }

    ~TvService() override { sd_bus_flush_close_unref(m_bus); }

    TvService(const TvService&) = delete;
    TvService& operator=(const TvService&) = delete;

    std::vector<tvsim::ModelEntry> list(const std::string& prefix) override {
        Message reply = call(tvsimd::kControlInterface, "List", [&](sd_bus_message* message) {
            checked(sd_bus_message_append(message, "s", prefix.c_str()), "append");
        });
        std::vector<tvsim::ModelEntry> entries;
        checked(sd_bus_message_enter_container(reply.get(), 'a', "(ss)"), "read");
        const char* path = nullptr;
        const char* type = nullptr;
        while (checked(sd_bus_message_read(reply.get(), "(ss)", &path, &type), "read") > 0) {
            entries.push_back({path, objectTypeNamed(type)});
        }
        return entries;
    }

    std::vector<std::string> columns(const std::string& table) override {
        Message reply = call(tvsimd::kControlInterface, "Rows", [&](sd_bus_message* message) {
            checked(sd_bus_message_append(message, "s", table.c_str()), "append");
        });
        char** names = nullptr;
        checked(sd_bus_message_read_strv(reply.get(), &names), "read");
        std::vector<std::string> columns;
        for (char** name = names; name != nullptr && *name != nullptr; ++name) {
            columns.emplace_back(*name);
            std::free(*name);
        }
        std::free(names);
        return columns;
    }

    void setValue(const std::string& path, const tvsim::ModelValue& value) override {
        call(tvsimd::kControlInterface, "Set", [&](sd_bus_message* message) {
            checked(sd_bus_message_append(message, "s", path.c_str()), "append");
            tvsimd::appendValueVariant(message, value);
        });
    }

    // Through the library's own connection: a flush on this one would not order
    // the signals that reach the library.
    void flush() override {
        if (!tvsim::flushServiceNotifications()) {
            throw CommandError("Flush on the TV service: no reply");
        }
    }

    std::optional<SourceSwitchState> sourceSwitch(const std::string& action) override {
        Message reply = call(tvsimd::kRespondersInterface, "SourceSwitch", [&](sd_bus_message* message) {
            checked(sd_bus_message_append(message, "s", action.c_str()), "append");
        });
        int responds = 0;
        int holders[3] = {};
        SourceSwitchState state;
        const char* channel[4] = {};
        checked(sd_bus_message_read(reply.get(), "biiiiissssi", &responds, &holders[0], &holders[1], &holders[2],
                                    &state.playbackStatus, &state.channelIndex, &channel[0], &channel[1], &channel[2],
                                    &channel[3], &state.lastFailure),
                "read");
        if (responds == 0) {
            return std::nullopt;
        }
        state.video = static_cast<tvsim::ResourceHolder>(holders[0]);
        state.audio = static_cast<tvsim::ResourceHolder>(holders[1]);
        state.psi = static_cast<tvsim::ResourceHolder>(holders[2]);
        state.channel = {channel[0], channel[1], channel[2], channel[3]};
        return state;
    }

    void failNextConnects(const std::string& path, int count, int status) override {
        callWith(tvsimd::kFaultsInterface, "FailNextConnects", "sii", path.c_str(), count, status);
    }
    void nullObjectOnNextConnects(const std::string& path, int count) override {
        callWith(tvsimd::kFaultsInterface, "NullObjectOnNextConnects", "si", path.c_str(), count);
    }
    void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) override {
        callWith(tvsimd::kFaultsInterface, "ReportType", "si", path.c_str(), static_cast<int>(type));
    }
    void failGetter(const std::string& path, int status) override {
        callWith(tvsimd::kFaultsInterface, "FailGetter", "si", path.c_str(), status);
    }
    void refuseNextInvokes(const std::string& path, int count, int status) override {
        callWith(tvsimd::kFaultsInterface, "RefuseNextInvokes", "sii", path.c_str(), count, status);
    }
    void failNextCreateIterators(const std::string& path, int count) override {
        callWith(tvsimd::kFaultsInterface, "FailNextCreateIterators", "si", path.c_str(), count);
    }

    void setReply(const std::string& path, const tvsim::Reply& reply) override {
        call(tvsimd::kRespondersInterface, "SetReply", [&](sd_bus_message* message) {
            checked(sd_bus_message_append(message, "ssiuib", path.c_str(), replyKind(reply.kind), reply.error,
                                          static_cast<std::uint32_t>(reply.delay.count()), reply.copies,
                                          static_cast<int>(reply.beforeInvokeReturns)),
                    "append");
            tvsimd::appendArguments(message, reply.results);
        });
    }
    void resetReply(const std::string& path) override {
        callWith(tvsimd::kRespondersInterface, "ResetReply", "s", path.c_str());
    }

    std::vector<ConnectRecord> connects() override {
        Message reply = call(tvsimd::kRecordsInterface, "Connects", [](sd_bus_message*) {});
        std::vector<ConnectRecord> records;
        checked(sd_bus_message_enter_container(reply.get(), 'a', "(ssib)"), "read");
        const char* path = nullptr;
        const char* client = nullptr;
        int status = 0;
        int object = 0;
        while (checked(sd_bus_message_read(reply.get(), "(ssib)", &path, &client, &status, &object), "read") > 0) {
            records.push_back({path, client, status, object != 0});
        }
        return records;
    }

    std::vector<tvsim::InvokeRecord> invokes() override {
        Message reply = call(tvsimd::kRecordsInterface, "Invokes", [](sd_bus_message*) {});
        std::vector<tvsim::InvokeRecord> records;
        checked(sd_bus_message_enter_container(reply.get(), 'a', "(suia(nnns))"), "read");
        while (checked(sd_bus_message_enter_container(reply.get(), 'r', "suia(nnns)"), "read") > 0) {
            const char* path = nullptr;
            tvsim::InvokeRecord record{};
            checked(sd_bus_message_read(reply.get(), "sui", &path, &record.actionId, &record.status), "read");
            record.path = path;
            record.arguments = tvsimd::readArguments(reply.get());
            checked(sd_bus_message_exit_container(reply.get()), "read");
            records.push_back(std::move(record));
        }
        return records;
    }

    void clearRecords() override {
        call(tvsimd::kRecordsInterface, "Clear", [](sd_bus_message*) {});
    }

private:
    // Calls the method on the control object; `append` writes its arguments.
    // An error reply is a CommandError with the service's one sentence.
    template <typename Append>
    Message call(const char* interface, const char* member, Append append) {
        sd_bus_message* raw = nullptr;
        checked(
            sd_bus_message_new_method_call(m_bus, &raw, tvsimd::kServiceName, tvsimd::kControlPath, interface, member),
            "new call");
        Message message(raw, &sd_bus_message_unref);
        append(raw);
        sd_bus_error error = SD_BUS_ERROR_NULL;
        sd_bus_message* reply = nullptr;
        const int result = sd_bus_call(m_bus, raw, static_cast<std::uint64_t>(m_timeout.count()), &error, &reply);
        if (result < 0) {
            const std::string text = error.message != nullptr ? error.message : std::strerror(-result);
            sd_bus_error_free(&error);
            throw CommandError(std::string(member) + " on the TV service: " + text);
        }
        return Message(reply, &sd_bus_message_unref);
    }

    // A call whose arguments sd_bus_message_append writes from a signature; its reply carries nothing.
    template <typename... Arguments>
    void callWith(const char* interface, const char* member, const char* types, Arguments... arguments) {
        call(interface, member,
             [&](sd_bus_message* message) { checked(sd_bus_message_append(message, types, arguments...), "append"); });
    }

    std::chrono::microseconds m_timeout;
    std::string m_address;
    sd_bus* m_bus = nullptr;
};

}  // namespace

std::unique_ptr<TvControl> connectTvService(const std::string& address, int timeoutMs) {
    return std::make_unique<TvService>(address, timeoutMs);
}

}  // namespace sactl
