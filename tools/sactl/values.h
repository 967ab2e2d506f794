// Model values through the library's typed accessors: read, write, watch.
#pragma once

#include "session.h"

#include <system_access/value_access_base.h>

#include <base/synchronization/condition_variable.h>
#include <base/synchronization/mutex.h>
#include <base/thread_annotations.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace sactl {

namespace access = velmora::system::access;

// The ValueAccessT instantiation for the value type.
std::unique_ptr<access::ValueAccessBase> makeValueAccess(tvsim::ValueType type, const std::string& path,
                                                         std::shared_ptr<access::ValueHandler> handler = {});

// The text form for the path's type; bad text is a CommandError naming the path.
tvsim::ModelValue parseValueFor(Session& session, const std::string& path, const std::string& text);
// Through a new accessor; a non-zero status is a CommandError.
tvsim::ModelValue readValue(Session& session, const std::string& path);
void writeValue(Session& session, const std::string& path, const tvsim::ModelValue& value);

// "<prefix>PATH = VALUE", or {"path", "type", "value"} plus the extra members.
void printValue(const Session& session, const std::string& path, const tvsim::ModelValue& value,
                const std::string& prefix = "", nlohmann::json extra = nlohmann::json::object());

// Watches values: one connected accessor per path, whose handler queues every
// notified value with the time it arrived. Holds the accessors (and so its
// connections) for its life.
class ValueWatcher {
public:
    struct Change {
        std::string time;
        std::string path;
        tvsim::ModelValue value;
    };

    // Connects every path (each must be a value) and reads its initial value.
    ValueWatcher(Session& session, const std::vector<std::string>& paths);
    ~ValueWatcher();

    const std::vector<Change>& initialValues() const { return m_initial; }
    std::vector<Change> takeChanges();  // the changes queued since the last call, in arrival order
    void waitForChange(std::chrono::steady_clock::time_point deadline);

    class Recorder;

private:
    struct Queue {
        velmora::base::Mutex mutex;
        velmora::base::ConditionVariable changed;
        std::vector<Change> changes SYSACCESS_GUARDED_BY(mutex);
    };

    std::shared_ptr<Queue> m_queue;
    std::vector<Change> m_initial;
    std::vector<std::unique_ptr<access::ValueAccessBase>> m_accessors;
};

}  // namespace sactl
