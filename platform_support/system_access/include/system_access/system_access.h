// SystemAccess: an exported empty class, kept for clients that link against it.
#pragma once

#include <system_access/export.h>

namespace velmora::system::access {

class SYSTEM_ACCESS_EXPORT SystemAccess {
public:
    SystemAccess();
    ~SystemAccess();
};

}  // namespace velmora::system::access
