#include "method_support.h"

#include "bus_error.h"

#include <tvsim/input_limits.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tvsimd {

using namespace tvsim::bus;  // the service's names, errors and message codec

std::string readString(sd_bus_message* message) {
    const char* text = nullptr;
    check(sd_bus_message_read_basic(message, 's', &text), "read string");
    return text;
}

std::string readModelPath(sd_bus_message* message) {
    std::string path = readString(message);
    tvsim::requireModelPath(path);
    return path;
}

int readInt(sd_bus_message* message) {
    std::int32_t value = 0;
    check(sd_bus_message_read_basic(message, 'i', &value), "read integer");
    return value;
}

std::uint64_t readId(sd_bus_message* message) {
    std::uint64_t id = 0;
    check(sd_bus_message_read_basic(message, 't', &id), "read id");
    return id;
}

std::string senderOf(sd_bus_message* message) {
    const char* sender = sd_bus_message_get_sender(message);
    return sender != nullptr ? sender : "";
}

void replyKeptCall(sd_bus_message* call, const std::function<int()>& reply) {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    if (handleMethod(&error, reply) < 0) {
        sd_bus_reply_method_error(call, &error);
    }
    sd_bus_error_free(&error);
}

int reply(sd_bus_message* call, const std::function<void(sd_bus_message*)>& append) {
    sd_bus_message* answer = nullptr;
    check(sd_bus_message_new_method_return(call, &answer), "new method return");
    try {
        append(answer);
    } catch (...) {
        sd_bus_message_unref(answer);
        throw;
    }
    const int sent = sd_bus_send(nullptr, answer, nullptr);
    sd_bus_message_unref(answer);
    return sent < 0 ? sent : 1;
}

void ReplyArraySize::add(std::size_t bytes) {
    m_bytes += bytes;
    ++m_count;
    if (m_bytes > kMaxReplyArrayBytes) {
        throw BusError(SD_BUS_ERROR_LIMITS_EXCEEDED,
                       "The reply holds more " + std::string(m_what) + " than one D-Bus message carries (" +
                           std::to_string(kMaxReplyArrayBytes) + " bytes; the first " + std::to_string(m_count) +
                           " take " + std::to_string(m_bytes) + ").");
    }
}

int replyEmpty(sd_bus_message* call) {
    return reply(call, [](sd_bus_message*) {});
}

int replyText(sd_bus_message* call, const char* what, const std::string& text) {
    ReplyArraySize(what).add(text.size());
    return reply(call, [&](sd_bus_message* answer) {
        check(sd_bus_message_append_basic(answer, 's', text.c_str()), "append text");
    });
}

int replyStatus(sd_bus_message* call, int status) {
    return reply(call, [status](sd_bus_message* answer) {
        check(sd_bus_message_append_basic(answer, 'i', &status), "append status");
    });
}

lomodelapi::ObjectTypeSpec typeOrNone(const tvsim::Simulator& simulator, const std::string& path) {
    try {
        return simulator.typeAt(path);
    } catch (const tvsim::ControlError&) {
        return lomodelapi::OBJECT_TYPE_NONE;
    }
}

int nodeList(const std::vector<std::string>& paths, char*** nodes) {
    auto** list = static_cast<char**>(std::calloc(paths.size() + 1, sizeof(char*)));
    if (list == nullptr) {
        return -ENOMEM;
    }
    for (std::size_t i = 0; i < paths.size(); ++i) {
        list[i] = strdup(paths[i].c_str());
        if (list[i] == nullptr) {
            for (std::size_t j = 0; j < i; ++j) {
                std::free(list[j]);
            }
            std::free(list);
            return -ENOMEM;
        }
    }
    *nodes = list;
    return 0;
}

}  // namespace tvsimd
