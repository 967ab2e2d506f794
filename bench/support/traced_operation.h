// An operation whose body is only its trace guard, kept out of line as every
// traced operation of the library is: what tracing costs one operation when
// it is off.
#pragma once

namespace benchsupport {

void tracedEmptyOperation();

}  // namespace benchsupport
