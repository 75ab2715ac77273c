#include "sysinfo/canonical_path.h"

#include <cstdlib>
#include <memory>

namespace sysinfo {

std::optional<std::string> canonicalPath(char const* path)
{
    std::unique_ptr<char, decltype(&std::free)> const resolved(
        ::realpath(path, nullptr), std::free);
    return resolved ? std::optional<std::string>(resolved.get()) : std::nullopt;
}

}
