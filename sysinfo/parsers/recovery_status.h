#pragma once

#include <cstdint>
#include <optional>

namespace sysinfo {

/** The engine's counters of a restore; -1 where it has not written one. */
struct RestoreCounters {
    int64_t totalFiles = -1;
    int64_t filesDone = -1;
    int64_t totalBytes = -1;
    int64_t bytesDone = -1;
};

/** What is shown of them. */
struct RestoreMetrics {
    int64_t percentage;
    int64_t totalFiles; ///< 1 where there are none.
    int64_t totalMB;
    int64_t doneMB;
    int64_t throughput; ///< Whole MB per second.
};

/**
 * Bytes and files weigh half each, and each half is cut to whole percent before they are added.
 *
 * Products that pass 64 bits wrap. Missing counters are counted as the -1 that they are: kept,
 * hosts know a restore without counters by its 100 percent.
 *
 * @param elapsedSeconds one second where it is less.
 */
RestoreMetrics restoreMetrics(RestoreCounters const& counters, double elapsedSeconds);

}
