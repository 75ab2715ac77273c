#pragma once

#include "common/basic/export.h"

namespace dovrel {

/** Operations on the calling thread. */
class DOVREL_EXPORT Thread {
public:
    /** Suspends the calling thread for at least @p milliseconds. Signals do not shorten the sleep.
     * clock_nanosleep(2). */
    static void Sleep(unsigned milliseconds);
};

}
