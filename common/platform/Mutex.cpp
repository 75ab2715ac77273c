#include "common/platform/Mutex.h"

namespace dovrel {

Mutex::Mutex()
{
    pthread_mutex_init(&m_mutex, nullptr);
}

Mutex::~Mutex()
{
    pthread_mutex_destroy(&m_mutex);
}

void Mutex::lock()
{
    pthread_mutex_lock(&m_mutex);
}

bool Mutex::try_lock()
{
    return pthread_mutex_trylock(&m_mutex) == 0;
}

void Mutex::unlock()
{
    pthread_mutex_unlock(&m_mutex);
}

}
