#include "bench/private_mounts.h"

#include "tests/support/user_namespace.h"

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

}

void enterPrivateMounts()
{
    try {
        testkit::enterNamespaces(CLONE_NEWNS);
    } catch (std::system_error const&) {
        testkit::enterNamespaces(CLONE_NEWUSER | CLONE_NEWNS); // Needs no privilege.
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
