#pragma once

#include "tests/support/CapturedTrace.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace testkit {

/** What the trace of the memory query contains about dmidecode's output. */
struct TracedDump {
    explicit TracedDump(CapturedTrace const& trace);

    /** @return the sizes in the straddling lines, in KiB, by the reference parser. */
    uint64_t lost() const;

    size_t sections = 0;
    size_t sizeLines = 0;
    size_t withoutSize = 0; // Ignored size lines that do not straddle two reads.
    std::vector<std::string> straddling; // Ignored size lines that do.
};

}
