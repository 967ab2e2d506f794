// ActionAccess: binds one model action by its path, starts invocations with
// argument lists, and hands the platform's later outcomes to an ActionHandler:
// results as one list value of strings in position order, failures as the
// platform's error code. It keeps no record of the ids it started; matching an
// outcome to its request is the handler's business.
//
// Threads: connect, disconnect, invoke and setActionResultHandler run on the
// caller's threads; invoke does not connect on demand, so connect first.
// notifyResult and notifyExecutionError run on the platform's callback thread
// and call the handler there with no library lock held; each call works on its
// own reference to the handler, so the handler may be replaced or cleared from
// any thread meanwhile. A connected accessor is disconnected by its destructor,
// after which the platform makes no further call.
#pragma once

#include <system_access/handler_slot.h>
#include <system_access/value_access_base.h>

#include <lomodelapi/argument.h>
#include <lomodelapi/observer.h>

#include <memory>
#include <string>
#include <vector>

namespace velmora::system::access {

// The client's callback for action outcomes; both run on the platform's
// callback thread. Handlers are held only through std::shared_ptr created for
// the concrete class (whose deleter destroys them), never deleted through this
// base: hence the protected, non-virtual destructor. Make concrete handlers final.
class SYSTEM_ACCESS_EXPORT ActionHandler {
public:
    // `result` is a VALUE_TYPE_VECTOR of VALUE_TYPE_STRING elements, one per
    // reported result in position order; it lives only for the call.
    virtual void onActionResult(unsigned int actionId, const ValueObject& result) = 0;
    virtual void onActionFailed(unsigned int actionId, int error) = 0;

protected:
    ~ActionHandler() = default;
};

class SYSTEM_ACCESS_EXPORT ActionAccess : public ValueAccessBase, public lomodelapi::ObserverAction {
public:
    explicit ActionAccess(std::string path);
    ActionAccess(std::string path, std::shared_ptr<ActionHandler> handler);
    ~ActionAccess() override;

    // 0, STATUS_ERR_CONNECT_FAILED or STATUS_ERR_VALUE_TYPE_MISMATCH (type code 5 expected).
    int connect(int timeoutMs) override;
    // Gives the object back (also when there is none) and forgets it; always 0.
    int disconnect() override;

    // Replaces the handler; an empty pointer stops delivery. Always 0.
    virtual int setActionResultHandler(std::shared_ptr<ActionHandler> handler);
    // -1 while not connected (actionId untouched); otherwise the platform's
    // status, with actionId the id under which the outcome will be reported.
    virtual int invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments);
    // Platform notifications, on the callback thread.
    void notifyExecutionError(unsigned int actionId, int error) override;
    void notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>& results) override;

private:
    HandlerSlot<ActionHandler> m_handler;
};

}  // namespace velmora::system::access
