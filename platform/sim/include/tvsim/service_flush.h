// For tools and tests that drive the TV service (tvsimd) and watch it through
// the library in the same process.
#pragma once

namespace tvsim {

// When the platform choice (tvsim/platform_choice.h) names the TV service:
// asks it to flush (Control.Flush) over this process's own platform
// connection, whose reply comes behind every signal the service sent this
// process, then waits until the notifications those signals carry have run on
// the callback thread. False when no TV service is chosen or it did not
// answer. Not on the callback thread.
bool flushServiceNotifications();

}  // namespace tvsim
