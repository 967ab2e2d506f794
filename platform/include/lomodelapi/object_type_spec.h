// Type codes of the platform's model objects.
#pragma once

// The platform exports its classes; clients compiled with hidden visibility
// must still see them as the platform's (template instantiations over them included).
#pragma GCC visibility push(default)

namespace lomodelapi {

enum ObjectTypeSpec : int {
    OBJECT_TYPE_NONE = 0,
    OBJECT_TYPE_NUMERIC_INTEGER = 1,
    OBJECT_TYPE_STRING = 2,
    OBJECT_TYPE_VECTOR_NUMERIC_INTEGER = 3,
    OBJECT_TYPE_VECTOR_STRING = 4,
    OBJECT_TYPE_ACTION = 5,
    OBJECT_TYPE_TABLE = 6,
    OBJECT_TYPE_VECTOR_INTEGER = 7,
    OBJECT_TYPE_NUMERIC_INT64 = 8,
};

}  // namespace lomodelapi

#pragma GCC visibility pop
