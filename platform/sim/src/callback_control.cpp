// Callback thread control: forwards to the running simulator's callback thread.
#include <tvsim/callback_control.h>

#include "simulator_core.h"

namespace tvsim {

void CallbackControl::flush() {
    core().callbacks.flush();
}
bool CallbackControl::onCallbackThread() const {
    return core().callbacks.onCallbackThread();
}

}  // namespace tvsim
