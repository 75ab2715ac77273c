#pragma once

#include <cstdint>
#include <optional>

namespace app {

/** The origin of the total. */
enum class MemorySource { KERNEL, MODULES };

/** Memory sizes in bytes. */
struct Memory {
    std::optional<uint64_t> total;
    std::optional<uint64_t> free;
    std::optional<MemorySource> source;

    /** Unknown also where more is free than there is in total. */
    std::optional<uint64_t> used() const
    {
        return total && free && *free <= *total ? std::optional(*total - *free) : std::nullopt;
    }
};

}
