#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/**
 * A second opinion on the memory in the kernel's text and in a firmware dump. It shares no code
 * with the library: it takes whole lines and words where the library reads fields off a stream.
 */
namespace testkit {

struct MeminfoFigures {
    std::optional<uint64_t> total;
    std::optional<uint64_t> free;
};

/** Knows the lines "LABEL NUMBER UNIT" up to the first line that is none. */
MeminfoFigures readMeminfo(std::string const& text);

/** @return what one line adds to the sum, in KiB; nothing where it tells no size. */
std::optional<uint64_t> sizeIn(std::string const& line);

struct DumpedModules {
    uint64_t sum = 0;
    size_t count = 0; // Of lines that tell a size, be it 0.
    size_t withoutSize = 0; // Of size lines that do not.
};

/** Reads all size lines of all sections headed "Memory Device". */
DumpedModules readDump(std::string const& text);

}
