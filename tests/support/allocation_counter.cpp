#include "tests/support/allocation_counter.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

enum class Form : uint32_t { SINGLE = 0x51A61E51, ARRAY = 0xA55A4411, RELEASED = 0xDEADB10C };

constexpr size_t ANY_SIZE = SIZE_MAX;

/** Precedes each block; keeps malloc's alignment for it. */
struct alignas(alignof(std::max_align_t)) Header {
    Form form;
    size_t size;
};

struct Tally {
    size_t calls;
    long liveBlocks;
    size_t latestSize;
    bool latestWasArray;
    size_t callsUntilFailure; // 0: none fails
};

thread_local Tally tally;

void* allocate(size_t size, Form form) noexcept
{
    ++tally.calls;
    tally.latestSize = size;
    tally.latestWasArray = form == Form::ARRAY;
    if (tally.callsUntilFailure > 0 && --tally.callsUntilFailure == 0)
        return nullptr;
    if (size > SIZE_MAX - sizeof(Header))
        return nullptr;
    void* block = std::malloc(sizeof(Header) + size);
    if (!block)
        return nullptr;
    ++tally.liveBlocks;
    return new (block) Header{form, size} + 1;
}

void* allocateOrThrow(size_t size, Form form)
{
    if (void* block = allocate(size, form))
        return block;
    throw std::bad_alloc();
}

void release(void* block, Form form, size_t size = ANY_SIZE) noexcept
{
    if (!block)
        return;
    Header* header = static_cast<Header*>(block) - 1;
    if (header->form != form || (size != ANY_SIZE && header->size != size)) {
        std::fprintf(stderr, "A block of form %08x and size %zu is released as %08x, size %zu\n",
            static_cast<unsigned>(header->form), header->size, static_cast<unsigned>(form), size);
        std::abort();
    }
    header->form = Form::RELEASED;
    --tally.liveBlocks;
    std::free(header);
}

}

namespace testkit {

AllocationCounter::AllocationCounter() noexcept
    : m_calls(tally.calls), m_liveBlocks(tally.liveBlocks)
{
}

size_t AllocationCounter::calls() const noexcept
{
    return tally.calls - m_calls;
}

long AllocationCounter::liveBlocks() const noexcept
{
    return tally.liveBlocks - m_liveBlocks;
}

size_t AllocationCounter::latestSize() noexcept
{
    return tally.latestSize;
}

bool AllocationCounter::latestWasArray() noexcept
{
    return tally.latestWasArray;
}

FailingAllocation::FailingAllocation(size_t n) noexcept
{
    tally.callsUntilFailure = n;
}

FailingAllocation::~FailingAllocation()
{
    tally.callsUntilFailure = 0;
}

bool FailingAllocation::hasHappened() const noexcept
{
    return tally.callsUntilFailure == 0;
}

}

void* operator new(size_t size)
{
    return allocateOrThrow(size, Form::SINGLE);
}

void* operator new[](size_t size)
{
    return allocateOrThrow(size, Form::ARRAY);
}

void* operator new(size_t size, std::nothrow_t const&) noexcept
{
    return allocate(size, Form::SINGLE);
}

void* operator new[](size_t size, std::nothrow_t const&) noexcept
{
    return allocate(size, Form::ARRAY);
}

void operator delete(void* block) noexcept
{
    release(block, Form::SINGLE);
}

void operator delete[](void* block) noexcept
{
    release(block, Form::ARRAY);
}

void operator delete(void* block, size_t size) noexcept
{
    release(block, Form::SINGLE, size);
}

void operator delete[](void* block, size_t size) noexcept
{
    release(block, Form::ARRAY, size);
}

void operator delete(void* block, std::nothrow_t const&) noexcept
{
    release(block, Form::SINGLE);
}

void operator delete[](void* block, std::nothrow_t const&) noexcept
{
    release(block, Form::ARRAY);
}
