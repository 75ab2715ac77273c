#pragma once

#include <optional>
#include <string>
#include <vector>

namespace app {

/** A logical processor that is online. */
struct Processor {
    unsigned number = 0; ///< The kernel's; not dense where processors are offline.
    std::optional<unsigned> socket;
    std::optional<unsigned> core; ///< Its number within the socket.
    std::optional<unsigned> node; ///< Its NUMA node.
    std::optional<unsigned> lowestMHz;
    std::optional<unsigned> currentMHz;
    std::optional<unsigned> highestMHz;
    std::optional<double> loadPercent; ///< 0 to 100.
};

/** The machine's processors, in ascending order of their numbers. */
struct Processors {
    std::vector<Processor> list;
    std::optional<std::string> model; ///< Of the first processor.
    std::optional<unsigned> sockets;
    std::optional<unsigned> cores; ///< Of all sockets.
    std::optional<unsigned> nodes;
    std::optional<double> loadPercent; ///< Of all together.
    bool loadsMeasured = false; ///< Whether the loads were asked for.
};

}
