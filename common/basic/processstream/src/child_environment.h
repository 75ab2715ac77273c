#pragma once

#include <cstddef>

namespace dovrel {

/**
 * The environment of a child's command: the host's environment with `LANG=C`.
 *
 * `LANG=C` replaces the first `LANG`, or is appended. Further `LANG` entries are omitted.
 *
 * The child constructs it between fork(2) and exec. The constructor allocates no heap memory, takes
 * no lock and does not change `environ`. Another thread of the host may have been inside setenv(3)
 * or clearenv(3) at the fork: `environ` may lack its final null pointer or point to freed strings.
 * The constructor reads only mapped memory and omits strings that start in unmapped memory. A page
 * without read permission ends the child. A string that continues into unmapped memory makes the
 * exec fail.
 */
class ChildEnvironment {
public:
    ChildEnvironment() noexcept;
    ChildEnvironment(ChildEnvironment const&) = delete;
    ChildEnvironment& operator=(ChildEnvironment const&) = delete;

    /** @return the array for execve(2); null, with `errno` set, if there is no memory for a large
     * environment. */
    char** entries() const noexcept { return m_entries; }

private:
    static constexpr size_t CAPACITY = 512;

    char* m_buffer[CAPACITY];
    char** m_entries;
};

}
