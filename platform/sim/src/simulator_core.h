// What a running Simulator is made of: the callback thread, the model, and the
// root interface the process framework hands out for it. Every facet of the
// Simulator acts on this one core.
#pragma once

#include "model.h"

#include <common/callback_thread.h>
#include <frame/process.h>
#include <lomodelapi/model_objects.h>

#include <boost/shared_ptr.hpp>

#include <atomic>
#include <string>

namespace tvsim {

class SimRootInterface final : public RootInterface {
public:
    explicit SimRootInterface(Model& model) : m_model(model) {}

    int connect(const std::string& path, lomodelapi::Observer* observer, ModelObject*& object) override {
        return m_model.connect(path, observer, object);
    }
    int disconnect(const std::string& path, lomodelapi::Observer* observer, ModelObject* object) override {
        return m_model.disconnect(path, observer, object);
    }

private:
    Model& m_model;
};

// What the process framework hands out for the root interface.
class RootInterfaceHandle final : public frame::Interface {
public:
    explicit RootInterfaceHandle(RootInterface* root) : m_root(root) {}

    // Clients turn the pointer back into a RootInterface*, so it is exactly that pointer.
    void* getObject() override { return m_null.load(std::memory_order_relaxed) ? nullptr : static_cast<void*>(m_root); }
    void answerNull(bool null) { m_null.store(null, std::memory_order_relaxed); }
    bool answersNull() const { return m_null.load(std::memory_order_relaxed); }

private:
    RootInterface* const m_root;
    std::atomic<bool> m_null{false};
};

class SimulatorCore {
public:
    SimulatorCore();   // publishes the root interface
    ~SimulatorCore();  // withdraws it, then drains the callback thread

    SimulatorCore(const SimulatorCore&) = delete;
    SimulatorCore& operator=(const SimulatorCore&) = delete;

    CallbackThread callbacks;
    Model model;
    SimRootInterface root;
    boost::shared_ptr<RootInterfaceHandle> handle;
};

}  // namespace tvsim
