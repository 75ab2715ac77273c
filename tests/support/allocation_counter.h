#pragma once

#include <cstddef>

/**
 * Replacements of `operator new` and `operator delete`.
 *
 * The shared library calls them too, as the dynamic linker prefers the program's symbols (the
 * program must export them). A delete of the wrong form or with a wrong size aborts the program.
 * Counts are per thread.
 */
namespace testkit {

/** Counts the calling thread's allocations from its construction on. */
class AllocationCounter {
public:
    AllocationCounter() noexcept;

    /** @return the number of requests, failed ones included. */
    size_t calls() const noexcept;

    /** @return allocated minus freed blocks. */
    long liveBlocks() const noexcept;

    /** @return the bytes of the latest request. */
    static size_t latestSize() noexcept;

    /** @return whether the latest request was for an array. */
    static bool latestWasArray() noexcept;

private:
    size_t m_calls;
    long m_liveBlocks;
};

/** Makes the calling thread's n-th next allocation throw `std::bad_alloc`; 1 is the next. */
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
