// Callback thread control, one facet of the Simulator. Every notification
// (value changes, action outcomes, iterator events) is delivered on one
// callback thread, in order.
#pragma once

namespace tvsim {

class SimulatorCore;

class CallbackControl {
public:
    // Waits until everything queued so far, delayed outcomes included, has been
    // delivered. Returns at once on the callback thread, which cannot wait for itself.
    void flush();
    bool onCallbackThread() const;

protected:
    CallbackControl() = default;
    ~CallbackControl() = default;

private:
    virtual SimulatorCore& core() const = 0;  // the running simulator these operations act on
};

}  // namespace tvsim
