#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace app {

/** A mounted filesystem; sizes in bytes. */
struct Mount {
    std::string mountPoint;
    std::string libraryMountPoint; ///< The library's, with the kernel's octal escapes.
    std::vector<std::string> disks; ///< Names of the disks beneath; empty where none is known.
    std::optional<uint64_t> size;
    std::optional<uint64_t> free;

    /** Unknown also where more is free than there is in total. */
    std::optional<uint64_t> used() const
    {
        return size && free && *free <= *size ? std::optional(*size - *free) : std::nullopt;
    }
};

}
