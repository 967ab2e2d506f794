// io.sysaccess.TvSim.Control.Records: what clients asked of the platform, as
// structured replies. A record names its client as "<unique name>#<id>", the
// connection or iterator tvsimd made for it ("" when it names no observer).
#include "bus_error.h"
#include "bus_names.h"
#include "bus_parts.h"
#include "interfaces.h"
#include "method_support.h"
#include "value_codec.h"

#include <tvsim/input_limits.h>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec
namespace {

// Appends the records as an array of `fields` structs, each appended by appendOne.
template <typename Record, typename AppendOne>
void appendRecords(sd_bus_message* answer, const std::string& fields, const std::vector<Record>& records,
                   AppendOne appendOne) {
    check(sd_bus_message_open_container(answer, 'a', ("(" + fields + ")").c_str()), "open records");
    for (const Record& record : records) {
        check(sd_bus_message_open_container(answer, 'r', fields.c_str()), "open record");
        appendOne(answer, record);
        check(sd_bus_message_close_container(answer), "close record");
    }
    check(sd_bus_message_close_container(answer), "close records");
}

// Replies with an array of the records, each appended by appendOne and
// counted by sizeOne; the fixed fields of a record take at most 32 bytes.
template <typename Record, typename AppendOne, typename SizeOne>
int replyRecords(sd_bus_message* call, const std::string& fields, const std::vector<Record>& records,
                 AppendOne appendOne, SizeOne sizeOne) {
    ReplyArraySize size("records");
    for (const Record& record : records) {
        size.add(sizeOne(record) + 32);
    }
    return reply(call, [&](sd_bus_message* answer) { appendRecords(answer, fields, records, appendOne); });
}

void appendConnect(sd_bus_message* answer, const tvsim::ClientConnect& record) {
    check(
        sd_bus_message_append(answer, "ssib", record.path.c_str(), record.client.c_str(), record.status, record.object),
        "append connect");
}
std::size_t sizeOfConnect(const tvsim::ClientConnect& record) {
    return tvsim::sizeOf(record.path) + tvsim::sizeOf(record.client);
}

void appendInvoke(sd_bus_message* answer, const tvsim::InvokeRecord& record) {
    check(sd_bus_message_append(answer, "sui", record.path.c_str(), static_cast<std::uint32_t>(record.actionId),
                                record.status),
          "append invoke");
    appendArguments(answer, record.arguments);
}
std::size_t sizeOfInvoke(const tvsim::InvokeRecord& record) {
    return tvsim::sizeOf(record.path) + tvsim::sizeOf(record.arguments);
}

void appendWrite(sd_bus_message* answer, const tvsim::WriteRecord& record) {
    check(sd_bus_message_append(answer, "ss", record.path.c_str(), record.client.c_str()), "append write");
    appendValueVariant(answer, record.value);
}
std::size_t sizeOfWrite(const tvsim::WriteRecord& record) {
    return tvsim::sizeOf(record.path) + tvsim::sizeOf(record.client) + tvsim::sizeOf(record.value);
}

int connects(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        return replyRecords(call, "ssib", partsOf<RecordsParts>(userdata).control.connects(), appendConnect,
                            sizeOfConnect);
    });
}

int disconnects(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        return replyRecords(
            call, "ss", partsOf<RecordsParts>(userdata).records.disconnects(),
            [](sd_bus_message* answer, const tvsim::DisconnectRecord& record) {
                check(sd_bus_message_append(answer, "ss", record.path.c_str(), record.client.c_str()),
                      "append disconnect");
            },
            [](const tvsim::DisconnectRecord& record) {
                return tvsim::sizeOf(record.path) + tvsim::sizeOf(record.client);
            });
    });
}

int invokes(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        return replyRecords(call, "suia(nnns)", partsOf<RecordsParts>(userdata).control.invokes(), appendInvoke,
                            sizeOfInvoke);
    });
}

int writes(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        return replyRecords(call, "ssv", partsOf<RecordsParts>(userdata).control.writes(), appendWrite, sizeOfWrite);
    });
}

tvsim::RecordPattern readPattern(sd_bus_message* call) {
    tvsim::RecordPattern pattern;
    const std::string kind = readString(call);
    pattern.path = readString(call);
    const auto recordKind = tvsim::recordKind(kind);
    if (!recordKind) {
        throw tvsim::ControlError(tvsim::ControlErrorKind::INVALID_ARGUMENT,
                                  "'" + kind + "' is not a kind of record (connect, invoke, write).");
    }
    pattern.kind = *recordKind;
    check(sd_bus_message_enter_container(call, 'a', "(iss)"), "read matchers");
    int position = 0;
    const char* matcher = nullptr;
    const char* text = nullptr;
    while (check(sd_bus_message_read(call, "(iss)", &position, &matcher, &text), "read matcher") > 0) {
        const auto matcherKind = tvsim::argumentMatcherKind(matcher);
        if (!matcherKind) {
            throw tvsim::ControlError(tvsim::ControlErrorKind::INVALID_ARGUMENT,
                                      "'" + std::string(matcher) + "' is not a matcher (exact, any, regex).");
        }
        pattern.arguments.push_back({position, *matcherKind, text});
    }
    check(sd_bus_message_exit_container(call), "read matchers");
    return pattern;
}

// Wait(s kind, s path, a(iss) matchers, u timeoutMs)
//     -> (b found, a(ssib) connects, a(suia(nnns)) invokes, as reasons, a(ssv) writes)
int wait(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const tvsim::RecordPattern pattern = readPattern(call);
        std::uint32_t timeoutMs = 0;
        check(sd_bus_message_read(call, "u", &timeoutMs), "read timeout");
        const std::chrono::milliseconds timeout(timeoutMs);
        tvsim::TvControl::checkWait(pattern, timeout);
        return partsOf<RecordsParts>(userdata).waits.start(call, pattern, timeout);
    });
}

int createIterators(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        return replyRecords(
            call, "ssiaib", partsOf<RecordsParts>(userdata).records.createIterators(),
            [](sd_bus_message* answer, const tvsim::CreateIteratorRecord& record) {
                check(sd_bus_message_append(answer, "ssi", record.path.c_str(), record.client.c_str(),
                                            static_cast<int>(record.type)),
                      "append iterator");
                check(sd_bus_message_append_array(answer, 'i', record.columns.data(),
                                                  record.columns.size() * sizeof(int)),
                      "append columns");
                check(sd_bus_message_append(answer, "b", record.iterator != nullptr), "append");
            },
            [](const tvsim::CreateIteratorRecord& record) {
                return tvsim::sizeOf(record.path) + tvsim::sizeOf(record.client) + record.columns.size() * sizeof(int);
            });
    });
}

// DroppedClients() -> a(ss): the clients tvsimd dropped (unique name, why), oldest first.
int droppedClients(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        return replyRecords(
            call, "ss", partsOf<RecordsParts>(userdata).delivery.dropped(),
            [](sd_bus_message* answer, const DroppedClient& record) {
                check(sd_bus_message_append(answer, "ss", record.client.c_str(), record.reason.c_str()),
                      "append dropped client");
            },
            [](const DroppedClient& record) { return tvsim::sizeOf(record.client) + tvsim::sizeOf(record.reason); });
    });
}

template <int (tvsim::CallRecords::*Count)(const std::string&) const>
int countOf(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        return replyStatus(call, (partsOf<RecordsParts>(userdata).records.*Count)(readModelPath(call)));
    });
}

int clear(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        RecordsParts& parts = partsOf<RecordsParts>(userdata);
        parts.control.clearRecords();
        parts.delivery.clearDropped();
        return replyEmpty(call);
    });
}

int dropped(sd_bus_message* call, void* userdata, sd_bus_error* error) {
    return handleMethod(error, [&] {
        const tvsim::DroppedRecords dropped = partsOf<RecordsParts>(userdata).control.droppedRecords();
        return reply(call, [&](sd_bus_message* answer) {
            check(sd_bus_message_append(answer, "tttttt", dropped.connects, dropped.disconnects, dropped.invokes,
                                        dropped.createIterators, dropped.destroyIterators, dropped.writes),
                  "append dropped");
        });
    });
}

const sd_bus_vtable kVtable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_NAMES("Connects", "", , "a(ssib)", SD_BUS_PARAM(records), connects, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Disconnects", "", , "a(ss)", SD_BUS_PARAM(records), disconnects,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Invokes", "", , "a(suia(nnns))", SD_BUS_PARAM(records), invokes,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Writes", "", , "a(ssv)", SD_BUS_PARAM(records), writes, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("CreateIterators", "", , "a(ssiaib)", SD_BUS_PARAM(records), createIterators,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("SetterCalls", "s", SD_BUS_PARAM(path), "i", SD_BUS_PARAM(count),
                             countOf<&tvsim::CallRecords::setterCalls>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("ConnectedObservers", "s", SD_BUS_PARAM(path), "i", SD_BUS_PARAM(count),
                             countOf<&tvsim::CallRecords::connectedObservers>, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("DroppedClients", "", , "a(ss)", SD_BUS_PARAM(records), droppedClients,
                             SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES("Dropped", "", , "tttttt",
                             SD_BUS_PARAM(connects) SD_BUS_PARAM(disconnects) SD_BUS_PARAM(invokes)
                                 SD_BUS_PARAM(createIterators) SD_BUS_PARAM(destroyIterators) SD_BUS_PARAM(writes),
                             dropped, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD("Clear", "", "", clear, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_METHOD_WITH_NAMES(
        "Wait", "ssa(iss)u", SD_BUS_PARAM(kind) SD_BUS_PARAM(path) SD_BUS_PARAM(matchers) SD_BUS_PARAM(timeoutMs),
        "ba(ssib)a(suia(nnns))asa(ssv)",
        SD_BUS_PARAM(found) SD_BUS_PARAM(connects) SD_BUS_PARAM(invokes) SD_BUS_PARAM(reasons) SD_BUS_PARAM(writes),
        wait, SD_BUS_VTABLE_UNPRIVILEGED),
    SD_BUS_VTABLE_END};

}  // namespace

int replyRecordWait(sd_bus_message* call, const tvsim::RecordWait& wait) {
    ReplyArraySize size("records");
    for (const tvsim::ClientConnect& record : wait.connects) {
        size.add(sizeOfConnect(record) + 32);
    }
    for (const tvsim::InvokeRecord& record : wait.invokes) {
        size.add(sizeOfInvoke(record) + 32);
    }
    for (const tvsim::WriteRecord& record : wait.writes) {
        size.add(sizeOfWrite(record) + 32);
    }
    return reply(call, [&](sd_bus_message* answer) {
        check(sd_bus_message_append(answer, "b", wait.found), "append found");
        appendRecords(answer, "ssib", wait.connects, appendConnect);
        appendRecords(answer, "suia(nnns)", wait.invokes, appendInvoke);
        check(sd_bus_message_open_container(answer, 'a', "s"), "open reasons");
        for (const std::string& reason : wait.reasons) {
            check(sd_bus_message_append(answer, "s", reason.c_str()), "append reason");
        }
        check(sd_bus_message_close_container(answer), "close reasons");
        appendRecords(answer, "ssv", wait.writes, appendWrite);
    });
}

void addRecordsInterface(sd_bus* bus, RecordsParts& parts) {
    check(sd_bus_add_object_vtable(bus, nullptr, kControlPath, kRecordsInterface, kVtable, &parts),
          "add io.sysaccess.TvSim.Control.Records");
}

}  // namespace tvsimd
