#include "common/basic/processstream/src/child_environment.h"

#include <cerrno>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

// For functions that may read memory that another thread has freed.
#define READS_FREED_MEMORY __attribute__((no_sanitize("address")))

namespace dovrel {

namespace {

constexpr uintptr_t PAGE = 4096;

/** Queries the kernel whether memory is mapped; mincore(2). Caches the last page. */
class MappedMemory {
public:
    bool contains(void const* address) noexcept
    {
        uintptr_t const page = reinterpret_cast<uintptr_t>(address) & ~(PAGE - 1);
        if (page == m_mappedPage)
            return true;
        unsigned char residence;
        // NOLINTNEXTLINE(performance-no-int-to-ptr): pointer arithmetic would need a valid pointer
        if (::mincore(reinterpret_cast<void*>(page), 1, &residence) != 0 && errno == ENOMEM)
            return false;
        m_mappedPage = page;
        return true;
    }

private:
    uintptr_t m_mappedPage = 1; // No page starts there.
};

/** @return the number of entries before the final null pointer or the end of mapped memory; 0 for a
 * null array. */
READS_FREED_MEMORY size_t countEntries(char** environment) noexcept
{
    MappedMemory memory;
    size_t count = 0;
    while (memory.contains(environment + count) && environment[count])
        ++count;
    return count;
}

READS_FREED_MEMORY bool setsLanguage(char const* entry, MappedMemory& memory) noexcept
{
    for (char const* name = "LANG="; *name; ++name, ++entry)
        if (!memory.contains(entry) || *entry != *name)
            return false;
    return true;
}

/** Copies @p count entries and sets `LANG=C`. @p copy must have room for @p count + 2 pointers. */
READS_FREED_MEMORY void copyWithLangC(char** environment, size_t count, char** copy) noexcept
{
    static char language[] = "LANG=C";
    MappedMemory memory;
    bool isSet = false;
    for (size_t i = 0; i < count; ++i) {
        char* const entry = environment[i];
        if (!memory.contains(entry))
            continue;
        if (!setsLanguage(entry, memory)) {
            *copy++ = entry;
        } else if (!isSet) {
            *copy++ = language;
            isSet = true;
        }
    }
    if (!isSet)
        *copy++ = language;
    *copy = nullptr;
}

/** Allocates pages for an array that may be too large for a thread's stack. @return null if that
 * fails. */
char** mapEntries(size_t count) noexcept
{
    void* const pages = ::mmap(
        nullptr, count * sizeof(char*), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : static_cast<char**>(pages);
}

}

// cppcheck-suppress uninitMemberVar ; the buffer is written before it is read
ChildEnvironment::ChildEnvironment() noexcept
{
    char** const environment = environ;
    size_t const count = countEntries(environment);
    size_t const needed = count + 2; // LANG=C and the final null pointer.
    m_entries = needed <= CAPACITY ? m_buffer : mapEntries(needed);
    if (m_entries)
        copyWithLangC(environment, count, m_entries);
}

}
