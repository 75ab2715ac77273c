#pragma once

#include "common/basic/processstream/src/process_exception.h"

#include <cerrno>

namespace dovrel {

/** The result of one waitpid(2) for a child. While the child runs, making one neither allocates nor
 * throws, so that waiting for a child's end works without memory. */
struct ChildStatus {
    enum State { EXITED, RUNNING, LOST };

    State state;
    int value; ///< The exit status if the child has exited, else `errno`.
    unsigned line; ///< The source line for the exception.

    /** @return the exit status. @throws ProcessException if the child has not exited normally. */
    int exitStatus() const
    {
        if (state == EXITED)
            return value;
        errno = value;
        throw ProcessException(state == RUNNING ? REASON_NOT_EXITED : REASON_EXIT_STATUS, line);
    }
};

}
