#include "common/basic/Cloneable.h"

namespace dovrel {

// noipa: without it the optimiser would follow the constant through the call and drop the test
// again.
[[gnu::noipa]] bool isNullObject(void const* object) noexcept
{
    return object == nullptr;
}

}
