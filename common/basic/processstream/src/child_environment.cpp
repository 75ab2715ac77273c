#include "common/basic/processstream/src/child_environment.h"

#include <cerrno>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

// What another thread has freed is read on purpose.
#define READS_FREED_MEMORY __attribute__((no_sanitize("address")))

namespace dovrel {

namespace {

constexpr uintptr_t PAGE = 4096;

/** Whether memory is mapped, from the kernel; remembers the latest page. */
class MappedMemory {
public:
    bool includes(void const* address) noexcept
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
    uintptr_t m_mappedPage = 1; // No page begins there.
};

/** The entries before the final null pointer or the end of the memory; none without an array. */
READS_FREED_MEMORY size_t countEntries(char** environment) noexcept
{
    MappedMemory memory;
    size_t count = 0;
    while (memory.includes(environment + count) && environment[count])
        ++count;
    return count;
}

READS_FREED_MEMORY bool setsLanguage(char const* entry, MappedMemory& memory) noexcept
{
    for (char const* name = "LANG="; *name; ++name, ++entry)
        if (!memory.includes(entry) || *entry != *name)
            return false;
    return true;
}

/** Copies @p count entries; @p copy has room for two more. */
READS_FREED_MEMORY void copyInEnglish(char** environment, size_t count, char** copy) noexcept
{
    static char language[] = "LANG=C";
    MappedMemory memory;
    bool isSet = false;
    for (size_t i = 0; i < count; ++i) {
        char* const entry = environment[i];
        if (!memory.includes(entry))
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

/** Pages for an array that may be too large for a thread's stack. @return null on failure. */
char** mapEntries(size_t count) noexcept
{
    void* const pages = ::mmap(
        nullptr, count * sizeof(char*), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : static_cast<char**>(pages);
}

}

// cppcheck-suppress uninitMemberVar ; the room is written before it is read
ChildEnvironment::ChildEnvironment() noexcept
{
    char** const environment = environ;
    size_t const count = countEntries(environment);
    size_t const needed = count + 2; // LANG=C at the end and the final null pointer.
    m_entries = needed <= ROOM ? m_room : mapEntries(needed);
    if (m_entries)
        copyInEnglish(environment, count, m_entries);
}

}
