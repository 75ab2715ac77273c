#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace app {

/** A memory module, or an empty slot for one. */
struct MemoryModule {
    std::string slot; ///< With its bank where several slots have the same name.
    std::optional<uint64_t> bytes; ///< 0 for an empty slot.
    std::optional<std::string> type; ///< "DDR4".
    std::optional<std::string> speed; ///< "3200 MT/s".
};

/** Memory sizes in bytes. */
struct Memory {
    std::optional<uint64_t> total;
    std::optional<uint64_t> available; ///< For new processes without swapping; kernels since 3.14.
    std::optional<uint64_t> free; ///< Used for nothing at all.
    std::optional<uint64_t> buffers;
    std::optional<uint64_t> caches; ///< Page cache and reclaimable kernel memory.
    std::optional<uint64_t> swapTotal;
    std::optional<uint64_t> swapFree;
    std::optional<std::vector<MemoryModule>> modules;

    /** Total less available, as free(1) counts; where the kernel does not report available memory,
     * total less free, buffers and caches. */
    std::optional<uint64_t> used() const;
    std::optional<uint64_t> swapUsed() const;
};

}
