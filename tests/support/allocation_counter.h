#pragma once

#include <cstddef>

/**
 * The test program's own `operator new` and `operator delete`.
 *
 * They serve the shared library too, as the dynamic linker gives the program's symbols precedence
 * (the program must export them). Blocks given back by the other form of delete than the one that
 * fits, or with a wrong size, end the program. All counts are of the calling thread alone.
 */
namespace testkit {

/** What the calling thread has asked for since this object was made. */
class AllocationCounter {
public:
    AllocationCounter() noexcept;

    /** Requests, the failed ones included. */
    size_t calls() const noexcept;

    /** Blocks made less blocks given back. */
    long liveBlocks() const noexcept;

    /** Bytes of the latest request. */
    static size_t latestSize() noexcept;

    /** Whether the latest request was for an array. */
    static bool latestWasArray() noexcept;

private:
    size_t m_calls;
    long m_liveBlocks;
};

/** Makes the calling thread's n-th allocation from now, counted from 1, throw `std::bad_alloc`. */
class FailingAllocation {
public:
    explicit FailingAllocation(size_t n) noexcept;
    FailingAllocation(FailingAllocation const&) = delete;
    FailingAllocation& operator=(FailingAllocation const&) = delete;

    /** Later allocations succeed. */
    ~FailingAllocation();

    bool hasHappened() const noexcept;
};

}
