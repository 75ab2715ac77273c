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

    void lock();
    bool try_lock();
    void unlock();

private:
    pthread_mutex_t m_mutex;
};

}
