#include "tv_control_proxy.h"

#include "bus_error.h"
#include "bus_names.h"
#include "value_codec.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <system_error>

namespace tvsim::bus {
namespace {

// sd-bus refuses text that is not UTF-8 with EINVAL.
void appendPath(sd_bus_message* message, const std::string& path) {
    const int appended = sd_bus_message_append_basic(message, 's', path.c_str());
    if (appended == -EINVAL) {
        throw tvsim::ControlError::unknownPath(path);
    }
    check(appended, "append path");
}

// The bus or the service is not there (a connection that transports connect
// later, such as TCP, fails at the first call), or no longer.
bool isServiceAbsent(int result, const sd_bus_error& error) {
    const int absent[] = {-ENOTCONN, -ECONNRESET, -ECONNREFUSED, -EPIPE, -ESHUTDOWN};
    return std::find(std::begin(absent), std::end(absent), result) != std::end(absent) ||
           sd_bus_error_has_names(&error, SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER,
                                  SD_BUS_ERROR_DISCONNECTED);
}

std::vector<tvsim::ClientConnect> readConnects(sd_bus_message* reply) {
    std::vector<tvsim::ClientConnect> records;
    check(sd_bus_message_enter_container(reply, 'a', "(ssib)"), "read connects");
    const char* path = nullptr;
    const char* client = nullptr;
    int status = 0;
    int object = 0;
    while (check(sd_bus_message_read(reply, "(ssib)", &path, &client, &status, &object), "read connect") > 0) {
        records.push_back({path, client, status, object != 0});
    }
    check(sd_bus_message_exit_container(reply), "read connects");
    return records;
}

std::vector<tvsim::InvokeRecord> readInvokes(sd_bus_message* reply) {
    std::vector<tvsim::InvokeRecord> records;
    check(sd_bus_message_enter_container(reply, 'a', "(suia(nnns))"), "read invokes");
    while (check(sd_bus_message_enter_container(reply, 'r', "suia(nnns)"), "read invoke") > 0) {
        const char* path = nullptr;
        tvsim::InvokeRecord record{};
        check(sd_bus_message_read(reply, "sui", &path, &record.actionId, &record.status), "read invoke");
        record.path = path;
        record.arguments = readArguments(reply);
        check(sd_bus_message_exit_container(reply), "read invoke");
        records.push_back(std::move(record));
    }
    check(sd_bus_message_exit_container(reply), "read invokes");
    return records;
}

std::vector<tvsim::WriteRecord> readWrites(sd_bus_message* reply) {
    std::vector<tvsim::WriteRecord> records;
    check(sd_bus_message_enter_container(reply, 'a', "(ssv)"), "read writes");
    while (check(sd_bus_message_enter_container(reply, 'r', "ssv"), "read write") > 0) {
        const char* path = nullptr;
        const char* client = nullptr;
        check(sd_bus_message_read(reply, "ss", &path, &client), "read write");
        tvsim::WriteRecord record{path, readAnyValueVariant(reply, path), client, {}, 0};
        check(sd_bus_message_exit_container(reply), "read write");
        records.push_back(std::move(record));
    }
    check(sd_bus_message_exit_container(reply), "read writes");
    return records;
}

// The records from the cursor's sequence on, each given its sequence: the
// dropped ones' count and its index (a cursor beyond the records, cleared
// since, reads from the first kept). Answers the next sequence.
template <typename Record>
std::uint64_t keepSince(std::vector<Record>& records, std::uint64_t dropped, std::uint64_t cursor) {
    const std::uint64_t next = dropped + records.size();
    const std::uint64_t first = cursor > next ? 0 : std::max(cursor, dropped) - dropped;
    records.erase(records.begin(), records.begin() + static_cast<std::ptrdiff_t>(first));
    for (std::size_t index = 0; index < records.size(); ++index) {
        records[index].sequence = dropped + first + index;
    }
    return next;
}

}  // namespace

TvControlProxy::TvControlProxy(const std::string& address, std::chrono::milliseconds timeout)
    : m_address(busAddressOf(address)), m_timeout(timeout) {
    if (m_address.empty()) {
        throw std::runtime_error("the session bus is asked for, but DBUS_SESSION_BUS_ADDRESS is not set");
    }
    int error = 0;
    m_bus = openBus(m_address, error);
    if (!m_bus) {
        throw std::runtime_error("cannot reach the bus at '" + m_address +
                                 "': " + std::generic_category().message(-error));
    }
}

Message TvControlProxy::call(const char* interface, const char* member, const Append& append,
                             std::chrono::milliseconds longer) {
    sd_bus_message* raw = nullptr;
    check(sd_bus_message_new_method_call(m_bus.get(), &raw, kServiceName, kControlPath, interface, member), "new call");
    Message request(raw);
    append(raw);
    sd_bus_error error = SD_BUS_ERROR_NULL;
    sd_bus_message* reply = nullptr;
    const auto timeoutUs = static_cast<std::uint64_t>((m_timeout + longer).count()) * 1000;
    const int result = sd_bus_call(m_bus.get(), raw, timeoutUs, &error, &reply);
    if (result < 0) {
        const std::string text = error.message != nullptr ? error.message : std::generic_category().message(-result);
        const std::optional<tvsim::ControlErrorKind> kind =
            error.name != nullptr ? controlErrorKindOf(error.name) : std::nullopt;
        const bool absent = isServiceAbsent(result, error);
        sd_bus_error_free(&error);
        if (kind) {
            throw tvsim::ControlError(*kind, text);
        }
        if (absent) {
            throw std::runtime_error((m_answered ? "the TV service at '" + m_address + "' went away ("
                                                 : "no TV service answers at '" + m_address + "' (") +
                                     text + ")");
        }
        throw std::runtime_error(std::string(member) + " on the TV service: " + text);
    }
    m_answered = true;
    return Message(reply);
}

template <typename... Arguments>
Message TvControlProxy::callWith(const char* interface, const char* member, const char* types, Arguments... arguments) {
    return call(interface, member,
                [&](sd_bus_message* message) { check(sd_bus_message_append(message, types, arguments...), "append"); });
}

template <typename... Arguments>
Message TvControlProxy::callOnPath(const char* interface, const char* member, const std::string& path,
                                   const char* types, Arguments... arguments) {
    return call(interface, member, [&](sd_bus_message* message) {
        appendPath(message, path);
        check(sd_bus_message_append(message, types, arguments...), "append");
    });
}

std::vector<tvsim::ModelEntry> TvControlProxy::list(const std::string& prefix) {
    try {
        return listCarried(prefix);
    } catch (const tvsim::ControlError&) {
        // A prefix the bus cannot carry: asked for by its ASCII start, the answer narrowed to the whole prefix.
        const auto ascii = std::find_if(prefix.begin(), prefix.end(), [](unsigned char c) { return c >= 0x80; });
        std::vector<tvsim::ModelEntry> entries = listCarried(std::string(prefix.begin(), ascii));
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [&](const tvsim::ModelEntry& entry) { return entry.path.rfind(prefix, 0) != 0; }),
                      entries.end());
        return entries;
    }
}

std::vector<tvsim::ModelEntry> TvControlProxy::listCarried(const std::string& prefix) {
    Message reply = callOnPath(kControlInterface, "List", prefix, "");
    std::vector<tvsim::ModelEntry> entries;
    check(sd_bus_message_enter_container(reply.get(), 'a', "(ss)"), "read entries");
    const char* path = nullptr;
    const char* type = nullptr;
    while (check(sd_bus_message_read(reply.get(), "(ss)", &path, &type), "read entry") > 0) {
        entries.push_back({path, tvsim::objectTypeNamed(type).value_or(lomodelapi::OBJECT_TYPE_NONE)});
    }
    return entries;
}

lomodelapi::ObjectTypeSpec TvControlProxy::typeAt(const std::string& path) {
    for (const tvsim::ModelEntry& entry : list(path)) {
        if (entry.path == path) {
            return entry.type;
        }
    }
    throw tvsim::ControlError::unknownPath(path);
}

tvsim::ModelValue TvControlProxy::value(const std::string& path) {
    Message reply = callOnPath(kControlInterface, "Get", path, "");
    return readAnyValueVariant(reply.get(), path);
}

void TvControlProxy::setValue(const std::string& path, const tvsim::ModelValue& value) {
    call(kControlInterface, "Set", [&](sd_bus_message* message) {
        appendPath(message, path);
        appendValueVariant(message, value);
    });
}

void TvControlProxy::setValues(const std::string& path, const std::vector<tvsim::ModelValue>& values) {
    call(kControlInterface, "SetSeries", [&](sd_bus_message* message) {
        appendPath(message, path);
        check(sd_bus_message_open_container(message, 'a', "v"), "open values");
        for (const tvsim::ModelValue& value : values) {
            appendValueVariant(message, value);
        }
        check(sd_bus_message_close_container(message), "close values");
    });
}

std::vector<std::string> TvControlProxy::columns(const std::string& table) {
    Message reply = callOnPath(kControlInterface, "Rows", table, "");
    return readStrings(reply.get());
}

std::vector<tvsim::Row> TvControlProxy::rows(const std::string& table) {
    Message reply = callOnPath(kControlInterface, "Rows", table, "");
    readStrings(reply.get());  // the columns come first
    return readRows(reply.get());
}

void TvControlProxy::setRows(const std::string& table, const std::vector<tvsim::Row>& rows) {
    call(kControlInterface, "SetRows", [&](sd_bus_message* message) {
        appendPath(message, table);
        appendRows(message, rows);
    });
}

void TvControlProxy::loadModel(const std::string& file) {
    callWith(kControlInterface, "LoadModel", "s", file.c_str());
}

void TvControlProxy::loadModelText(const std::string& text, const std::string& name) {
    callWith(kControlInterface, "LoadModelText", "ss", name.c_str(), text.c_str());
}

void TvControlProxy::flush() {
    callWith(kControlInterface, "Flush", "");
}

void TvControlProxy::failNextConnects(const std::string& path, int count, int status) {
    callOnPath(kFaultsInterface, "FailNextConnects", path, "ii", count, status);
}
void TvControlProxy::nullObjectOnNextConnects(const std::string& path, int count) {
    callOnPath(kFaultsInterface, "NullObjectOnNextConnects", path, "i", count);
}
void TvControlProxy::reportType(const std::string& path, lomodelapi::ObjectTypeSpec type) {
    callOnPath(kFaultsInterface, "ReportType", path, "i", static_cast<int>(type));
}
void TvControlProxy::failGetter(const std::string& path, int status) {
    callOnPath(kFaultsInterface, "FailGetter", path, "i", status);
}
void TvControlProxy::refuseNextInvokes(const std::string& path, int count, int status) {
    callOnPath(kFaultsInterface, "RefuseNextInvokes", path, "ii", count, status);
}
void TvControlProxy::failNextCreateIterators(const std::string& path, int count) {
    callOnPath(kFaultsInterface, "FailNextCreateIterators", path, "i", count);
}
void TvControlProxy::clearFaults(const std::string& path) {
    callOnPath(kFaultsInterface, "ClearFaults", path, "");
}
void TvControlProxy::refuseInterfaceReference(bool refuse, int status) {
    callWith(kFaultsInterface, "RefuseInterfaceReference", "bi", static_cast<int>(refuse), status);
}
void TvControlProxy::emptyInterfaceReference(bool empty) {
    callWith(kFaultsInterface, "EmptyInterfaceReference", "b", static_cast<int>(empty));
}
void TvControlProxy::nullRootObject(bool null) {
    callWith(kFaultsInterface, "NullRootObject", "b", static_cast<int>(null));
}

void TvControlProxy::setReply(const std::string& action, const tvsim::Reply& reply) {
    call(kRespondersInterface, "SetReply", [&](sd_bus_message* message) {
        appendPath(message, action);
        check(sd_bus_message_append(message, "siuib", replyKindName(reply.kind), reply.error,
                                    static_cast<std::uint32_t>(reply.delay.count()), reply.copies,
                                    static_cast<int>(reply.beforeInvokeReturns)),
              "append reply");
        appendArguments(message, reply.results);
    });
}

void TvControlProxy::resetReply(const std::string& action) {
    callOnPath(kRespondersInterface, "ResetReply", action, "");
}

void TvControlProxy::emitResult(const std::string& action, unsigned int actionId,
                                const std::vector<lomodelapi::Argument>& results) {
    call(kRespondersInterface, "EmitResult", [&](sd_bus_message* message) {
        appendPath(message, action);
        check(sd_bus_message_append(message, "u", static_cast<std::uint32_t>(actionId)), "append");
        appendArguments(message, results);
    });
}

void TvControlProxy::emitExecutionError(const std::string& action, unsigned int actionId, int error) {
    callOnPath(kRespondersInterface, "EmitExecutionError", action, "ui", static_cast<std::uint32_t>(actionId), error);
}

std::optional<tvsim::SourceSwitchState> TvControlProxy::sourceSwitch(const std::string& action) {
    Message reply = callOnPath(kRespondersInterface, "SourceSwitch", action, "");
    int responds = 0;
    int holders[3] = {};
    tvsim::SourceSwitchState state;
    const char* channel[4] = {};
    check(sd_bus_message_read(reply.get(), "biiiiissssi", &responds, &holders[0], &holders[1], &holders[2],
                              &state.playbackStatus, &state.channelIndex, &channel[0], &channel[1], &channel[2],
                              &channel[3], &state.lastFailure),
          "read source switch");
    if (responds == 0) {
        return std::nullopt;
    }
    state.video = static_cast<tvsim::ResourceHolder>(holders[0]);
    state.audio = static_cast<tvsim::ResourceHolder>(holders[1]);
    state.psi = static_cast<tvsim::ResourceHolder>(holders[2]);
    state.channel = {channel[0], channel[1], channel[2], channel[3]};
    return state;
}

std::vector<tvsim::ClientConnect> TvControlProxy::connects() {
    Message reply = callWith(kRecordsInterface, "Connects", "");
    return readConnects(reply.get());
}

std::vector<tvsim::InvokeRecord> TvControlProxy::invokes() {
    Message reply = callWith(kRecordsInterface, "Invokes", "");
    return readInvokes(reply.get());
}

std::vector<tvsim::WriteRecord> TvControlProxy::writes() {
    Message reply = callWith(kRecordsInterface, "Writes", "");
    return readWrites(reply.get());
}

tvsim::NewRecords TvControlProxy::recordsSince(const tvsim::RecordCursor& cursor) {
    // Dropped first: records dropped between the calls only make a list start later than the count says,
    // and the records read then are newer, never skipped.
    const tvsim::DroppedRecords dropped = droppedRecords();
    tvsim::NewRecords records{connects(), invokes(), writes(), {}};
    records.next.connects = keepSince(records.connects, dropped.connects, cursor.connects);
    records.next.invokes = keepSince(records.invokes, dropped.invokes, cursor.invokes);
    records.next.writes = keepSince(records.writes, dropped.writes, cursor.writes);
    return records;
}

tvsim::DroppedRecords TvControlProxy::droppedRecords() {
    Message reply = callWith(kRecordsInterface, "Dropped", "");
    tvsim::DroppedRecords dropped;
    check(sd_bus_message_read(reply.get(), "tttttt", &dropped.connects, &dropped.disconnects, &dropped.invokes,
                              &dropped.createIterators, &dropped.destroyIterators, &dropped.writes),
          "read dropped records");
    return dropped;
}

void TvControlProxy::clearRecords() {
    callWith(kRecordsInterface, "Clear", "");
}

tvsim::RecordWait TvControlProxy::waitForRecord(const tvsim::RecordPattern& pattern,
                                                std::chrono::milliseconds timeout) {
    checkWait(pattern, timeout);
    Message reply = call(
        kRecordsInterface, "Wait",
        [&](sd_bus_message* message) {
            check(sd_bus_message_append(message, "ss", recordKindName(pattern.kind), pattern.path.c_str()),
                  "append pattern");
            check(sd_bus_message_open_container(message, 'a', "(iss)"), "open matchers");
            for (const tvsim::ArgumentMatcher& matcher : pattern.arguments) {
                check(sd_bus_message_append(message, "(iss)", matcher.position, argumentMatcherName(matcher.kind),
                                            matcher.text.c_str()),
                      "append matcher");
            }
            check(sd_bus_message_close_container(message), "close matchers");
            check(sd_bus_message_append(message, "u", static_cast<std::uint32_t>(timeout.count())), "append timeout");
        },
        timeout);
    tvsim::RecordWait wait;
    int found = 0;
    check(sd_bus_message_read(reply.get(), "b", &found), "read found");
    wait.found = found != 0;
    wait.connects = readConnects(reply.get());
    wait.invokes = readInvokes(reply.get());
    check(sd_bus_message_enter_container(reply.get(), 'a', "s"), "read reasons");
    const char* reason = nullptr;
    while (check(sd_bus_message_read(reply.get(), "s", &reason), "read reason") > 0) {
        wait.reasons.emplace_back(reason);
    }
    check(sd_bus_message_exit_container(reply.get()), "read reasons");
    wait.writes = readWrites(reply.get());
    return wait;
}

}  // namespace tvsim::bus
