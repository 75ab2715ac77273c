#pragma once

#include "common/basic/export.h"

namespace dovrel {

class DOVREL_EXPORT Thread {
public:
    /** Holds the calling thread for at least @p milliseconds, signals or not. clock_nanosleep(2).
     */
    static void Sleep(unsigned milliseconds);
};

}
