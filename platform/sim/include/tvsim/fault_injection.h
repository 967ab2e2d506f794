// Fault injection, one facet of the Simulator: makes the simulated platform
// answer the way a real one does when something goes wrong, one operation at a
// time or from now on. Operations may be called from any thread. One given a
// path that holds no object, an object of a kind the fault does not apply to,
// or a count outside 0 to kMaxFaultCount throws ControlError (a
// std::invalid_argument) and changes nothing.
#pragma once

#include <lomodelapi/object_type_spec.h>

#include <map>
#include <optional>
#include <string>

namespace tvsim {

class SimulatorCore;

// The most operations one fault may make fail: more is a typo, not a test.
constexpr int kMaxFaultCount = 1000000;

// The faults in force on one path; counts are what is left of them.
struct PathFaults {
    int failingConnects = 0;
    int failingConnectStatus = 0;
    int nullConnects = 0;
    std::optional<lomodelapi::ObjectTypeSpec> reportedType;
    int getterStatus = 0;
    int refusedInvokes = 0;
    int refusedInvokeStatus = 0;
    int failingCreateIterators = 0;

    bool inForce() const {
        return failingConnects > 0 || nullConnects > 0 || reportedType || getterStatus != 0 || refusedInvokes > 0 ||
               failingCreateIterators > 0;
    }
};

// The process framework's faults in force.
struct FrameworkFaults {
    bool refusingInterfaceReference = false;
    int refusalStatus = -1;
    bool emptyInterfaceReference = false;
    bool nullRootObject = false;
};

class FaultInjection {
public:
    // ---- The process framework ----
    void refuseInterfaceReference(bool refuse, int status = -1);  // getInterfaceReference answers status
    void emptyInterfaceReference(bool empty);                     // answers 0 and leaves the reference empty
    void nullRootObject(bool null);                               // Interface::getObject answers null

    // ---- Connecting and reading ----
    void failNextConnects(const std::string& path, int count, int status);      // status != 0, null object
    void nullObjectOnNextConnects(const std::string& path, int count);          // status 0, null object
    void reportType(const std::string& path, lomodelapi::ObjectTypeSpec type);  // getType lies from now on
    // String and vector getValue answer status from now on; 0 heals. Numeric
    // getters answer a value and no status, so their paths are refused.
    void failGetter(const std::string& path, int status);

    // ---- Actions and tables ----
    // The next `count` invokes answer `status` without an id or an outcome.
    void refuseNextInvokes(const std::string& path, int count, int status);
    void failNextCreateIterators(const std::string& path, int count);  // createIterator answers null
    void clearFaults(const std::string& path);                         // every fault on the path taken back

    // ---- What is in force now ----
    std::map<std::string, PathFaults> pathFaults() const;  // only the paths with a fault in force
    FrameworkFaults frameworkFaults() const;

protected:
    FaultInjection() = default;
    ~FaultInjection() = default;

private:
    virtual SimulatorCore& core() const = 0;  // the running simulator these operations act on
};

}  // namespace tvsim
