#include "traced_operation.h"

#include <base/blog.h>

namespace benchsupport {

__attribute__((noinline)) void tracedEmptyOperation() {
    BLOG_TRACE();
}

}  // namespace benchsupport
