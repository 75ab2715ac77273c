#pragma once

#include "common/basic/processstream/src/process_exception.h"

#include <cerrno>

namespace dovrel {

/** The result of one look at a child. A look at a child that runs allocates and throws nothing, so
 * that waiting for the end of a child works without memory. */
struct ExitLook {
    enum State { EXITED, RUNNING, LOST };

    State state;
    int value; ///< The exit status if the child has exited, else `errno`.
    unsigned line; ///< The source line of the result, for the exception.

    /** @return the exit status. @throws ProcessException if there is none. */
    int status() const
    {
        if (state == EXITED)
            return value;
        errno = value;
        throw ProcessException(state == RUNNING ? REASON_NOT_EXITED : REASON_EXIT_STATUS, line);
    }
};

}
