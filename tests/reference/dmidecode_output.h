#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace reference {

/** The memory modules in the output of dmidecode(8). */
struct MemoryModules {
    uint64_t sum = 0; // KiB.
    size_t count = 0; // Size lines with a size, 0 included.
    size_t withoutSize = 0; // Size lines without one.
    size_t sections = 0; // Of any kind.
};

/** Reads the size lines of all sections whose heading is exactly "Memory Device". */
MemoryModules readModules(std::string const& dump);

/** @return the size in one size line, in KiB; nothing when it has none. */
std::optional<uint64_t> sizeIn(std::string const& line);

}
