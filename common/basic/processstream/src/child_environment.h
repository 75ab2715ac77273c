#pragma once

#include <cstddef>

namespace dovrel {

/**
 * The environment that a child runs its command with: the host's, with `LANG=C`.
 *
 * `LANG=C` takes the place of the first `LANG`, or comes last; further `LANG`s are left out.
 *
 * Made in the child, between fork(2) and exec: allocates nothing, takes no lock, and leaves
 * `environ` alone. Another thread of the host may have been in the middle of setenv(3) or
 * clearenv(3) at the fork, so that `environ` has no end or strings that were freed. Only memory
 * that is mapped is read; a string in memory that is not is left out. A page without read
 * permission ends the child, and a string that runs off into unmapped memory fails its exec.
 */
class ChildEnvironment {
public:
    ChildEnvironment() noexcept;
    ChildEnvironment(ChildEnvironment const&) = delete;
    ChildEnvironment& operator=(ChildEnvironment const&) = delete;

    /** For execve(2). Null where there is no memory for a large environment; `errno` is set then.
     */
    char** entries() const noexcept { return m_entries; }

private:
    static constexpr size_t ROOM = 512;

    char* m_room[ROOM];
    char** m_entries;
};

}
