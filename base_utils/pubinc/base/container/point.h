// A point of two signed 32-bit coordinates.
#pragma once

#include <cstdint>

namespace velmora::base::container {

struct Point {
    std::int32_t x = 0;
    std::int32_t y = 0;
};

}  // namespace velmora::base::container
