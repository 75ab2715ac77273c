#pragma once

#include <optional>

namespace app {

/** A logical processor; its number is its place in the list. */
struct Processor {
    std::optional<unsigned> currentMHz;
    std::optional<unsigned> maxMHz;
    std::optional<double> loadPercent; ///< 0 to 100.
};

}
