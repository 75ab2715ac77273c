#include "sysinfo/parsers/recovery_status.h"

#include <algorithm>
#include <limits>

namespace sysinfo {

namespace {

constexpr int64_t BYTES_PER_MB = 1'048'576;

/** Wraps beyond 64 bits, without undefined behaviour. */
int64_t wrappingProduct(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) * static_cast<uint64_t>(b));
}

int64_t wrappingSum(int64_t a, int64_t b)
{
    return static_cast<int64_t>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

/** Truncates towards zero. Wraps for the smallest dividend and -1, where a division would trap. */
int64_t wrappingQuotient(int64_t dividend, int64_t divisor)
{
    if (divisor == -1)
        return wrappingProduct(dividend, -1);
    return dividend / divisor;
}

int64_t halfPercentage(int64_t done, int64_t total)
{
    return wrappingQuotient(wrappingProduct(done, 50), total);
}

}

RestoreMetrics restoreMetrics(RestoreCounters const& counters, double elapsedSeconds)
{
    int64_t const files = counters.totalFiles == 0 ? 1 : counters.totalFiles;
    int64_t const bytes = counters.totalBytes == 0 ? 1 : counters.totalBytes;
    long double const bytesPerSecond = static_cast<long double>(counters.bytesDone)
        / static_cast<long double>(std::max(elapsedSeconds, 1.0));

    RestoreMetrics metrics{};
    metrics.percentage = wrappingSum(
        halfPercentage(counters.bytesDone, bytes), halfPercentage(counters.filesDone, files));
    metrics.totalFiles = files;
    metrics.totalMB = bytes / BYTES_PER_MB;
    metrics.doneMB = counters.bytesDone / BYTES_PER_MB;
    metrics.throughput = static_cast<int64_t>(bytesPerSecond * (1.0L / 1024) * (1.0L / 1024));
    return metrics;
}

}
