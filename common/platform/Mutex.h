#pragma once

#include "common/basic/export.h"
#include "common/basic/noncopyable.h"

#include <pthread.h>

namespace dovrel {

/** A non-recursive mutex that works with `std::lock_guard`; pthread_mutex_lock(3). */
class DOVREL_EXPORT Mutex : noncopyable_::noncopyable {
public:
    Mutex();
    ~Mutex();

    /** Waits until the mutex is free, and takes it. */
    void lock();

    /** Takes the mutex if it is free. @return whether it was. */
    bool try_lock();

    /** Releases the mutex, which the calling thread holds. */
    void unlock();

private:
    pthread_mutex_t m_mutex;
};

}
