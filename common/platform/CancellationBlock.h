#pragma once

#include "common/basic/noncopyable.h"

#include <pthread.h>

namespace dovrel {

/**
 * Disables cancellation of the calling thread while the object exists; pthread_setcancelstate(3).
 *
 * Cancellation unwinds the stack, and the process ends if that unwinding leaves a destructor. A
 * cancellation request that arrives meanwhile stays pending. It takes effect at the thread's first
 * cancellation point after the outermost block. Blocks nest: each restores the former state.
 */
class CancellationBlock : noncopyable_::noncopyable {
public:
    CancellationBlock() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_former); }

    /** A pending request cancels a thread of the asynchronous cancellation type here; the unwinding
     * leaves the destructor. */
    ~CancellationBlock() noexcept(false) { pthread_setcancelstate(m_former, nullptr); }

private:
    int m_former = PTHREAD_CANCEL_ENABLE;
};

}
