#include "sysinfo/canonical_path.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

namespace sysinfo {

std::optional<std::string> canonicalPath(char const* path)
{
    std::unique_ptr<char, decltype(&std::free)> const resolved(
        ::realpath(path, nullptr), std::free);
    if (!resolved && errno == ENOMEM)
        throw std::bad_alloc();
    return resolved ? std::optional<std::string>(resolved.get()) : std::nullopt;
}

}
