#include <system_access/action_access.h>
#include <system_access/value_object.h>

#include "list_value.h"

#include <base/blog.h>
#include <lomodelapi/model_objects.h>

namespace velmora::system::access {

namespace {

constexpr char kObserverName[] = "ObserverAction";

// The results in position order. A position that no result names stays the
// empty string, a later result for a position replaces an earlier one, and a
// position outside 0..N-1 has no place in a list of N and is dropped.
std::vector<std::string> byPosition(const std::vector<lomodelapi::Argument>& results) {
    std::vector<std::string> values(results.size());
    for (const lomodelapi::Argument& result : results) {
        if (result.position >= 0 && static_cast<size_t>(result.position) < values.size()) {
            values[static_cast<size_t>(result.position)] = result.value;
        }
    }
    return values;
}

}  // namespace

ActionAccess::ActionAccess(std::string path) : ValueAccessBase(path) {}

ActionAccess::ActionAccess(std::string path, std::shared_ptr<ActionHandler> handler)
    : ValueAccessBase(path), m_handler(std::move(handler)) {}

// The platform gets the object back before the handler is released, so it
// never calls a destroyed observer.
ActionAccess::~ActionAccess() {
    if (modelObject() != nullptr) {
        ActionAccess::disconnect();
    }
}

int ActionAccess::connect(int timeoutMs) {
    return ValueAccessBase::connect(timeoutMs, static_cast<lomodelapi::ObserverAction*>(this),
                                    lomodelapi::OBJECT_TYPE_ACTION, kObserverName);
}

int ActionAccess::disconnect() {
    ValueAccessBase::disconnect(static_cast<lomodelapi::ObserverAction*>(this));
    return 0;
}

int ActionAccess::setActionResultHandler(std::shared_ptr<ActionHandler> handler) {
    m_handler.store(std::move(handler));
    return 0;
}

int ActionAccess::invoke(unsigned int& actionId, const std::vector<lomodelapi::Argument>& arguments) {
    ModelObject* object = modelObject();
    if (object == nullptr) {
        BLOG_ERROR("No Access yet.");
        return -1;
    }
    // Type code 5, checked when connecting, is the platform's promise of an ActionObject.
    return static_cast<ActionObject*>(object)->invoke(actionId, arguments);
}

// Runs on the platform's callback thread.
void ActionAccess::notifyExecutionError(unsigned int actionId, int error) {
    BLOG_TRACE();
    BLOG_ALWAYS("Action Failed : %s,  %d,  %d ", getName().c_str(), static_cast<int>(actionId), error);
    m_handler.forward(&ActionHandler::onActionFailed, actionId, error);
}

// Runs on the platform's callback thread. The list is built only when there
// is a handler to receive it.
void ActionAccess::notifyResult(unsigned int actionId, const std::vector<lomodelapi::Argument>& results) {
    BLOG_TRACE();
    BLOG_INFO("Action Result: %s,  %d,  %d ", getName().c_str(), static_cast<int>(actionId),
              static_cast<int>(results.size()));
    if (std::shared_ptr<ActionHandler> handler = m_handler.load()) {
        handler->onActionResult(actionId, makeListValue(byPosition(results)));
    }
}

}  // namespace velmora::system::access
