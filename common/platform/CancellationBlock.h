#pragma once

#include "common/basic/noncopyable.h"

#include <pthread.h>

namespace dovrel {

/**
 * Holds back the cancellation of the calling thread while it exists; pthread_setcancelstate(3).
 *
 * A thread that pthread_cancel(3) ends inside a query would be unwound out of destructors, which
 * ends the process. A request that arrives meanwhile stays pending and takes effect at the thread's
 * next cancellation point after the outermost block. Blocks nest: each restores the state that it
 * found.
 */
class CancellationBlock : noncopyable_::noncopyable {
public:
    CancellationBlock() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_former); }

    /** A thread of the asynchronous cancellation type is cancelled here, by an unwinding that
     * leaves the destructor. */
    ~CancellationBlock() noexcept(false) { pthread_setcancelstate(m_former, nullptr); }

private:
    int m_former = PTHREAD_CANCEL_ENABLE;
};

}
