#include <system_access/system_access.h>

namespace velmora::system::access {

SystemAccess::SystemAccess() {}

SystemAccess::~SystemAccess() {}

}  // namespace velmora::system::access
