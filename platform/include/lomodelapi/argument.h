// One argument of an action invocation, or one result of an action.
// The record is exchanged by reference with the platform's model library, so
// its layout is the platform's, member for member.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The platform exports its classes; clients compiled with hidden visibility
// must still see them as the platform's (template instantiations over them included).
#pragma GCC visibility push(default)

namespace lomodelapi {

struct Argument {
    std::int16_t tag = 0;      // carried for the platform
    std::int8_t position = 0;  // 0-based parameter (or result) position
    std::int8_t subtag = 0;    // carried for the platform
    std::string value;         // the value as text, numbers in decimal
};

#if defined(__arm__)
// The 32-bit target's layout, fixed by the platform.
static_assert(sizeof(Argument) == 28, "lomodelapi::Argument must be 28 bytes on the 32-bit target");
static_assert(offsetof(Argument, tag) == 0, "Argument::tag at offset 0");
static_assert(offsetof(Argument, position) == 2, "Argument::position at offset 2");
static_assert(offsetof(Argument, subtag) == 3, "Argument::subtag at offset 3");
static_assert(offsetof(Argument, value) == 4, "Argument::value at offset 4");
#endif

}  // namespace lomodelapi

#pragma GCC visibility pop
