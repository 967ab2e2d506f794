#include "actions.h"

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/unique_lock.h>
#include <system_access/value_object.h>

#include <chrono>

namespace sactl {

namespace access = velmora::system::access;

// Runs on the simulator's callback thread: keeps the first outcome of each id
// under its own mutex and wakes the waiting caller; touches nothing else.
class ActionCaller::Collector final : public access::ActionHandler {
public:
    void onActionResult(unsigned int actionId, const access::ValueObject& result) override {
        ActionOutcome outcome;
        outcome.actionId = actionId;
        outcome.results = static_cast<std::vector<std::string>>(result);
        store(std::move(outcome));
    }

    void onActionFailed(unsigned int actionId, int error) override {
        ActionOutcome outcome;
        outcome.actionId = actionId;
        outcome.failed = true;
        outcome.error = error;
        store(std::move(outcome));
    }

    bool waitFor(unsigned int actionId, std::chrono::milliseconds timeout, ActionOutcome& outcome) {
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        velmora::base::UniqueLock lock(&m_mutex);
        while (m_outcomes.count(actionId) == 0 && m_changed.wait_until(lock, deadline)) {
        }
        const auto found = m_outcomes.find(actionId);
        if (found == m_outcomes.end()) {
            return false;
        }
        outcome = found->second;
        return true;
    }

private:
    void store(ActionOutcome outcome) {
        velmora::base::UniqueLock lock(&m_mutex);
        m_outcomes.emplace(outcome.actionId, std::move(outcome));  // a duplicate keeps the first
        m_changed.notify_all();
    }

    velmora::base::Mutex m_mutex;
    velmora::base::ConditionVariable m_changed;
    std::map<unsigned int, ActionOutcome> m_outcomes SYSACCESS_GUARDED_BY(m_mutex);
};

std::vector<lomodelapi::Argument> parseArguments(const std::vector<std::string>& texts) {
    std::vector<lomodelapi::Argument> arguments;
    for (const std::string& text : texts) {
        const std::size_t equals = text.find('=');
        lomodelapi::Argument argument;
        if (equals == std::string::npos || !tvsim::parseArgumentPosition(text.substr(0, equals), argument.position)) {
            throw CommandError("bad argument '" + text + "': expected POSITION=VALUE with a position from 0 to " +
                               std::to_string(tvsim::kMaxArgumentPosition));
        }
        argument.value = text.substr(equals + 1);
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

std::string formatArguments(const std::vector<lomodelapi::Argument>& arguments) {
    std::string text;
    for (const lomodelapi::Argument& argument : arguments) {
        text += (text.empty() ? "[" : " [") + std::to_string(argument.position) + "]=" + jsonText(argument.value);
    }
    return text;
}

nlohmann::json argumentsToJson(const std::vector<lomodelapi::Argument>& arguments) {
    nlohmann::json list = nlohmann::json::array();
    for (const lomodelapi::Argument& argument : arguments) {
        list.push_back({{"position", argument.position}, {"value", argument.value}});
    }
    return list;
}

ActionCaller::ActionCaller(Session& session, const std::string& path)
    : m_session(session), m_path(path), m_collector(std::make_shared<Collector>()), m_access(path, m_collector) {
    session.tv().requireType(path, lomodelapi::OBJECT_TYPE_ACTION);
    const int status = m_access.connect(1000);
    if (status != 0) {
        throw CommandError("connecting '" + path + "' failed with status " + describeStatus(status));
    }
}

ActionCaller::~ActionCaller() {
    m_access.disconnect();
}

ActionOutcome ActionCaller::call(const std::vector<lomodelapi::Argument>& arguments) {
    unsigned int actionId = 0;
    const int status = m_access.invoke(actionId, arguments);
    if (status != 0) {
        throw CommandError("invoking '" + m_path + "' was refused with status " + describeStatus(status));
    }
    ActionOutcome outcome;
    if (!m_collector->waitFor(actionId, std::chrono::milliseconds(m_session.timeoutMs()), outcome)) {
        throw CommandError("no outcome for '" + m_path + "' (action id " + std::to_string(actionId) + ") within " +
                           std::to_string(m_session.timeoutMs()) + " ms");
    }
    return outcome;
}

}  // namespace sactl
