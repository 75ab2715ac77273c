#include "bench/allocations.h"

#include <cstdlib>
#include <new>

namespace {

unsigned long allocationCount = 0; // Every benchmark here runs on one thread.

void* countedAllocation(std::size_t size)
{
    ++allocationCount;
    if (void* block = std::malloc(size ? size : 1))
        return block;
    throw std::bad_alloc();
}

}

namespace bench {

unsigned long allocations() noexcept
{
    return allocationCount;
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
    std::free(block);
}

void operator delete[](void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    std::free(block);
}
