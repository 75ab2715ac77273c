#include "common/basic/Cloneable.h"

namespace dovrel {

// noipa: otherwise the optimiser would propagate the assumption into the call and remove the test.
[[gnu::noipa]] bool isNullObject(void const* object) noexcept
{
    return object == nullptr;
}

}
