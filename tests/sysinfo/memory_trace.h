#pragma once

#include "tests/support/CapturedTrace.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace testkit {

/** What the memory query's trace tells of the dump that it read. */
struct TracedDump {
    explicit TracedDump(CapturedTrace const& trace);

    /** @return what the straddling lines would have added, by the second reader, in KiB. */
    uint64_t lost() const;

    size_t sections = 0;
    size_t sizeLines = 0;
    size_t withoutSize = 0; // Of the size lines that do not straddle two reads.
    std::vector<std::string> straddling;
};

}
