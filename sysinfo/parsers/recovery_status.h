#pragma once

#include <cstdint>
#include <optional>

namespace sysinfo {

/** The recovery engine's counters of a restore. A counter that it has not written is -1. */
struct RestoreCounters {
    int64_t totalFiles = -1;
    int64_t filesDone = -1;
    int64_t totalBytes = -1;
    int64_t bytesDone = -1;
};

struct RestoreMetrics {
    int64_t percentage;
    int64_t totalFiles; ///< 1 if the counter is 0.
    int64_t totalMB; ///< MB of 1,048,576 bytes.
    int64_t doneMB;
    int64_t throughput; ///< Whole MB per second.
};

/**
 * Computes the progress of a restore. Bytes and files weigh half each. Each half is truncated to
 * whole percent before the addition. Products beyond 64 bits wrap.
 *
 * Kept: a missing counter counts as -1, so a restore without counters is at 100 percent. Hosts
 * recognise it by that.
 *
 * @param elapsedSeconds less than one second counts as one second.
 */
RestoreMetrics restoreMetrics(RestoreCounters const& counters, double elapsedSeconds);

}
