#include "bench/allocations.h"

#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

// Every benchmark here runs on one thread.
bool isCounting = false;
bench::HeapUse use;

void* countedAllocation(std::size_t size)
{
    void* const block = std::malloc(size ? size : 1);
    if (!block)
        throw std::bad_alloc();
    if (isCounting) {
        ++use.allocations;
        use.bytes += static_cast<long>(malloc_usable_size(block));
        use.peakBytes = std::max(use.peakBytes, use.bytes);
    }
    return block;
}

void countedRelease(void* block)
{
    if (isCounting)
        use.bytes -= static_cast<long>(malloc_usable_size(block));
    std::free(block);
}

}

namespace bench {

void startCounting() noexcept
{
    use = {};
    isCounting = true;
}

HeapUse stopCounting() noexcept
{
    isCounting = false;
    return use;
}

}

void* operator new(std::size_t size)
{
    return countedAllocation(size);
}

void* operator new[](std::size_t size)
{
    return countedAllocation(size);
}

void operator delete(void* block) noexcept
{
    countedRelease(block);
}

void operator delete[](void* block) noexcept
{
    countedRelease(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    countedRelease(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    countedRelease(block);
}
