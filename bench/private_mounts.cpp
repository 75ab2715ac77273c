#include "bench/private_mounts.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace bench {

namespace {

[[noreturn]] void failed(std::string const& call)
{
    throw std::system_error(errno, std::generic_category(), call);
}

/** In a user namespace without a map, no user can own a file. */
void becomeRootOfNamespace(uid_t user, gid_t group)
{
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

}

void enterPrivateMounts()
{
    uid_t const user = geteuid();
    gid_t const group = getegid();
    if (unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            failed("unshare");
        becomeRootOfNamespace(user, group);
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        failed("mount /");
}

void emptyFolder(char const* path)
{
    if (mount("tmpfs", path, "tmpfs", 0, nullptr) != 0)
        failed(std::string("mount ") + path);
}

void writeText(std::string const& path, std::string const& text)
{
    std::ofstream file(path);
    if (!(file << text << std::flush))
        throw std::runtime_error("cannot write " + path);
}

}
