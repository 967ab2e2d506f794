// A client process of the TV service for the remote-platform tests and
// benchmarks: it uses libsystem_access as any engine would and is driven by one
// command per line on standard input. `remote_client --bus ADDRESS` chooses the
// platform by the call a tool makes; without it TVSIM_BUS decides.
// Each command answers one line; notifications are printed as they come, from
// the callback thread. Lines never interleave.
//
//   watch PATH               integer accessor with a handler: "connect S", then "changed PATH V" per change
//   get PATH | set PATH V    "get S V" | "set S"
//   setints PATH [V...]      the whole integer vector: "setints S"
//   setstrings PATH [V...]   the whole string vector: "setstrings S"
//   action PATH              action accessor with a handler: "connect S", then "result ID N" (N results)
//                            or "failed ID E"
//   invoke PATH [VALUE...]   "invoke S ID" (arguments at positions 0, 1, ...)
//   iterate PATH             iterator over the table: "create S", then "iterator EVENT V" per event
//   source OPERATION         a SourceSwitchAccess request: "source 1" | "source 0"
//   sources N                N pause/resume AV requests in turn: "sources ANSWERED_TRUE"
//   flush                    tvsim::flushServiceNotifications: "flush 1" when the service answered
//   quit
#include <system_access/action_access.h>
#include <system_access/iterator_access.h>
#include <system_access/source_switch_access.h>
#include <system_access/value_access.h>
#include <system_access/value_object.h>
#include <tvsim/platform_choice.h>
#include <tvsim/service_flush.h>

#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace access = velmora::system::access;
using IntegerAccess = access::ValueAccessT<lomodelapi::ObserverNumericInteger>;

// Writes the remaining words as the vector's elements through a handler-less accessor; the setter's status.
template <typename Observer, typename Element>
int setVector(const std::string& path, std::istringstream& words) {
    std::vector<Element> elements;
    for (Element element; words >> element;) {
        elements.push_back(element);
    }
    return access::ValueAccessT<Observer>(path).setValue(elements);
}

std::mutex g_printing;

void say(const std::string& line) {
    std::lock_guard<std::mutex> lock(g_printing);
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

class PrintingValueHandler final : public access::ValueHandler {
public:
    explicit PrintingValueHandler(std::string path) : m_path(std::move(path)) {}
    void onNewValue(const access::ValueObject& value) override {
        say("changed " + m_path + " " + std::to_string(static_cast<int>(value)));
    }

private:
    std::string m_path;
};

class PrintingActionHandler final : public access::ActionHandler {
public:
    void onActionResult(unsigned int actionId, const access::ValueObject& result) override {
        say("result " + std::to_string(actionId) + " " +
            std::to_string(static_cast<std::vector<std::string>>(result).size()));
    }
    void onActionFailed(unsigned int actionId, int error) override {
        say("failed " + std::to_string(actionId) + " " + std::to_string(error));
    }
};

class PrintingIteratorHandler final : public access::IteratorHandler {
public:
    void onCommit(int status) override { event("commit", status); }
    void onTotalCount(int count) override { event("total", count); }
    void onSeekToRow(int row) override { event("seek", row); }
    void onSeekToContent(int row) override { event("content", row); }
    void onCursorPosition(int row) override { event("cursor", row); }
    void onReadRow(const std::vector<std::string>& row) override { event("row", static_cast<int>(row.size())); }
    void onReadRowChunk(const std::vector<const std::vector<std::string>*>& rows) override {
        event("chunk", static_cast<int>(rows.size()));
    }
    void onIteratorReady(int status) override { event("ready", status); }
    void onUpdate(int change) override { event("update", change); }

private:
    static void event(const char* name, int value) {
        say(std::string("iterator ") + name + " " + std::to_string(value));
    }
};

bool sourceOperation(const std::string& name) {
    access::SourceSwitchAccess& source = *access::SourceSwitchAccess::getInstance();
    static const std::map<std::string, std::function<bool(access::SourceSwitchAccess&)>> kOperations = {
        {"pauseAV", [](access::SourceSwitchAccess& s) { return s.pauseAV(); }},
        {"resumeAV", [](access::SourceSwitchAccess& s) { return s.resumeAV(); }},
        {"pausePSI", [](access::SourceSwitchAccess& s) { return s.pausePSI(); }},
        {"resumePSI", [](access::SourceSwitchAccess& s) { return s.resumePSI(); }},
        {"channelNext", [](access::SourceSwitchAccess& s) { return s.setChannelNext(); }},
    };
    auto found = kOperations.find(name);
    return found != kOperations.end() && found->second(source);
}

class Client {
public:
    // Runs one command line; false for quit.
    bool run(const std::string& line) {
        std::istringstream words(line);
        std::string command;
        std::string path;
        words >> command >> path;
        if (command == "watch") {
            auto accessor = std::make_unique<IntegerAccess>(path, std::make_shared<PrintingValueHandler>(path));
            say("connect " + std::to_string(accessor->connect(1000)));
            m_values[path] = std::move(accessor);
        } else if (command == "get") {
            int value = 0;
            const int status = accessor(path).getValue(value);
            say("get " + std::to_string(status) + " " + std::to_string(value));
        } else if (command == "set") {
            int value = 0;
            words >> value;
            say("set " + std::to_string(accessor(path).setValue(value)));
        } else if (command == "setints") {
            say("setints " + std::to_string(setVector<lomodelapi::ObserverVectorNumericInteger, int>(path, words)));
        } else if (command == "setstrings") {
            say("setstrings " + std::to_string(setVector<lomodelapi::ObserverVectorString, std::string>(path, words)));
        } else if (command == "action") {
            auto accessor = std::make_unique<access::ActionAccess>(path, std::make_shared<PrintingActionHandler>());
            say("connect " + std::to_string(accessor->connect(1000)));
            m_actions[path] = std::move(accessor);
        } else if (command == "invoke") {
            std::vector<lomodelapi::Argument> arguments;
            for (std::string text; words >> text;) {
                lomodelapi::Argument argument;
                argument.position = static_cast<std::int8_t>(arguments.size());
                argument.value = text;
                arguments.push_back(argument);
            }
            unsigned int id = 0;
            const int status = m_actions.at(path)->invoke(id, arguments);
            say("invoke " + std::to_string(status) + " " + std::to_string(id));
        } else if (command == "iterate") {
            m_iterator = std::make_unique<access::IteratorAccess>(
                path, std::make_shared<PrintingIteratorHandler>(), lomodelapi::ITERATOR_TYPE_DEFAULT,
                std::vector<lomodelapi::TableSelection>{}, std::vector<int>{}, std::vector<lomodelapi::TableOrder>{});
            say("create " + std::to_string(m_iterator->create()));
        } else if (command == "source") {
            say(std::string("source ") + (sourceOperation(path) ? "1" : "0"));
        } else if (command == "sources") {
            const int count = std::stoi(path);
            int answeredTrue = 0;
            for (int index = 0; index < count; ++index) {
                answeredTrue += sourceOperation(index % 2 == 0 ? "pauseAV" : "resumeAV") ? 1 : 0;
            }
            say("sources " + std::to_string(answeredTrue));
        } else if (command == "flush") {
            say(std::string("flush ") + (tvsim::flushServiceNotifications() ? "1" : "0"));
        } else if (command == "quit") {
            return false;
        } else {
            say("unknown " + command);
        }
        return true;
    }

private:
    // The watched accessor of the path, or a handler-less one made for it.
    IntegerAccess& accessor(const std::string& path) {
        std::unique_ptr<IntegerAccess>& made = m_values[path];
        if (made == nullptr) {
            made = std::make_unique<IntegerAccess>(path);
        }
        return *made;
    }

    std::map<std::string, std::unique_ptr<IntegerAccess>> m_values;
    std::map<std::string, std::unique_ptr<access::ActionAccess>> m_actions;
    std::unique_ptr<access::IteratorAccess> m_iterator;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--bus") {
        tvsim::usePlatformOnBus(argv[2]);
    }
    Client client;
    for (std::string line; std::getline(std::cin, line);) {
        if (!client.run(line)) {
            break;
        }
    }
    return 0;
}
