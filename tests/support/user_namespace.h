#pragma once

#include "tests/support/SystemFailure.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <string>

namespace testkit {

/** Writes a file of /proc with one write(2), which these files require. @throws std::system_error
 */
inline void writeProcFile(std::string const& path, std::string const& text)
{
    int const file = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ssize_t const written = file < 0 ? -1 : ::write(file, text.data(), text.size());
    int const error = errno;
    if (file >= 0)
        ::close(file);
    errno = error;
    if (written != static_cast<ssize_t>(text.size()))
        fail("write", path);
}

/**
 * Moves the calling process into new namespaces (unshare(2)); call it before any thread starts.
 *
 * With CLONE_NEWUSER in @p flags no privilege is needed, and the process becomes user 0 and group 0
 * of the new user namespace (user_namespaces(7)).
 *
 * @throws std::system_error that names the step that failed.
 */
inline void enterNamespaces(int flags)
{
    std::string const user = std::to_string(::geteuid());
    std::string const group = std::to_string(::getegid());
    if (::unshare(flags) != 0)
        fail("unshare", (flags & CLONE_NEWUSER) != 0 ? "with a user namespace" : "without one");
    if ((flags & CLONE_NEWUSER) == 0)
        return;
    // Without "deny" an ordinary user may not map a group (user_namespaces(7)).
    writeProcFile("/proc/self/setgroups", "deny");
    writeProcFile("/proc/self/uid_map", "0 " + user + " 1");
    writeProcFile("/proc/self/gid_map", "0 " + group + " 1");
}

}
