#include "tests/sysinfo/FaultCalls.h"

#include <sys/mman.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

namespace testkit {

FaultCalls faultCalls;

struct FaultCalls::State {
    static constexpr unsigned LARGEST = 64;

    /** Adds the call if it is new. */
    std::atomic<unsigned>& countOf(char const* call) noexcept
    {
        for (unsigned i = 0; i < LARGEST; ++i) {
            char const* known = nullptr;
            if (names[i].compare_exchange_strong(known, call) || std::strcmp(known, call) == 0)
                return counts[i];
        }
        std::abort();
    }

    std::atomic<bool> isActive;
    std::atomic<bool> isPaused;
    Fault fault;
    Fault cause;
    std::atomic<char const*> names[LARGEST];
    std::atomic<unsigned> counts[LARGEST];
};

FaultCalls::FaultCalls()
{
    void* const memory =
        ::mmap(nullptr, sizeof(State), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        std::abort();
    m_state = new (memory) State{};
}

void FaultCalls::begin(Fault const& fault, Fault const& cause) noexcept
{
    for (auto& count : m_state->counts)
        count = 0;
    m_state->fault = fault;
    m_state->cause = cause;
    m_state->isPaused = false;
    m_state->isActive = true;
}

void FaultCalls::pause() noexcept
{
    m_state->isPaused = true;
}

void FaultCalls::resume() noexcept
{
    m_state->isPaused = false;
}

void FaultCalls::end() noexcept
{
    m_state->isActive = false;
}

unsigned FaultCalls::countOf(char const* call) const noexcept
{
    return m_state->countOf(call);
}

int FaultCalls::errorOf(char const* call) noexcept
{
    // Allocations precede the constructor.
    if (!m_state || !m_state->isActive || m_state->isPaused)
        return 0;
    unsigned const number = ++m_state->countOf(call);
    for (Fault const* fault : {&m_state->fault, &m_state->cause})
        if (std::strcmp(call, fault->call) == 0 && number >= fault->nth
            && number - fault->nth < fault->times)
            return fault->error;
    return 0;
}

bool FaultCalls::fails(char const* call) noexcept
{
    int const error = errorOf(call);
    if (error != 0)
        errno = error;
    return error != 0;
}

}
