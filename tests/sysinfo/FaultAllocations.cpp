#include "tests/sysinfo/FaultCalls.h"

#include <cerrno>
#include <cstdlib>
#include <new>

namespace {

thread_local long blocks = 0;

/** @return whether the allocation is to fail; counts its block if not. */
bool refuses()
{
    if (testkit::faultCalls.fails(testkit::MEMORY))
        return true;
    ++blocks;
    return false;
}

}

long testkit::FaultCalls::liveBlocks() noexcept
{
    return blocks;
}

#pragma GCC visibility push(default)

// With a sanitizer, the C library's calls of malloc(3) are the sanitizer's.
#if defined __SANITIZE_ADDRESS__ || defined __SANITIZE_THREAD__

// A sanitizer's own forms do not call these, so all are here.

void* operator new(size_t size, std::nothrow_t const& /*tag*/) noexcept
{
    return refuses() ? nullptr : std::malloc(size);
}

void* operator new(size_t size)
{
    if (void* const block = operator new(size, std::nothrow))
        return block;
    throw std::bad_alloc();
}

void* operator new[](size_t size, std::nothrow_t const& /*tag*/) noexcept
{
    return operator new(size, std::nothrow);
}

void* operator new[](size_t size)
{
    return operator new(size);
}

void operator delete(void* block) noexcept
{
    if (block)
        --blocks;
    std::free(block);
}

void operator delete(void* block, size_t /*size*/) noexcept
{
    operator delete(block);
}

void operator delete(void* block, std::nothrow_t const& /*tag*/) noexcept
{
    operator delete(block);
}

void operator delete[](void* block) noexcept
{
    operator delete(block);
}

void operator delete[](void* block, size_t /*size*/) noexcept
{
    operator delete(block);
}

void operator delete[](void* block, std::nothrow_t const& /*tag*/) noexcept
{
    operator delete(block);
}

#else

// The C library's own functions, under its other names for them.
extern "C" {

void* __libc_malloc(size_t size) noexcept;
void* __libc_calloc(size_t count, size_t size) noexcept;
void* __libc_realloc(void* block, size_t size) noexcept;
void __libc_free(void* block) noexcept;

void* malloc(size_t size) noexcept
{
    return refuses() ? nullptr : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) noexcept
{
    return refuses() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, size_t size) noexcept
{
    if (!block)
        return malloc(size);
    if (size == 0) {
        free(block);
        return nullptr;
    }
    return testkit::faultCalls.fails(testkit::MEMORY) ? nullptr : __libc_realloc(block, size);
}

void free(void* block) noexcept
{
    if (block)
        --blocks;
    __libc_free(block);
}
}

#endif
#pragma GCC visibility pop
