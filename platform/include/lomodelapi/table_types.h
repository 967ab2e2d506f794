// Iterator descriptions of the platform's tables. The library copies them and
// hands them back to the platform without looking inside.
#pragma once

#include <cstdint>
#include <string>

// The platform exports its classes; clients compiled with hidden visibility
// must still see them as the platform's (template instantiations over them included).
#pragma GCC visibility push(default)

namespace lomodelapi {

enum IteratorType : std::int32_t {
    ITERATOR_TYPE_DEFAULT = 0,
    ITERATOR_TYPE_SNAPSHOT = 1,
    ITERATOR_TYPE_LIVE = 2,
};

struct TableSelection {
    std::int32_t column = 0;
    std::int32_t comparison = 0;
    std::string value;
};

struct TableOrder {
    std::int32_t column = 0;
    std::int32_t direction = 0;
};

}  // namespace lomodelapi

#pragma GCC visibility pop
