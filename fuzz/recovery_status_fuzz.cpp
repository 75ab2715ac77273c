// The progress of a restore is exact where its products fit into 64 bits, and defined elsewhere.

#include "common/basic/text_cast.h"
#include "fuzz/expect.h"
#include "sysinfo/parsers/recovery_status.h"
#include "tests/reference/text.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

using fuzz::expect;

namespace {

constexpr int64_t EXACT = int64_t{1} << 52; // Fits a double, and 50 times into 64 bits.

bool isExact(int64_t number)
{
    return number > -EXACT && number < EXACT;
}

int64_t half(int64_t done, int64_t total)
{
    return std::lldiv(done * 50, total == 0 ? 1 : total).quot;
}

}

/** The lines are the values of the status file: four counters and the elapsed seconds. */
extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    auto const lines = reference::lines({reinterpret_cast<char const*>(data), size});
    auto const value = [&](size_t line) {
        return line < lines.size()
            ? dovrel::literal_cast<long long>(dovrel::string(lines[line]), -1)
            : -1;
    };
    sysinfo::RestoreCounters const counters{value(0), value(1), value(2), value(3)};
    auto const seconds = static_cast<double>(value(4));
    sysinfo::RestoreMetrics const metrics = sysinfo::restoreMetrics(counters, seconds);

    int64_t const bytes = counters.totalBytes == 0 ? 1 : counters.totalBytes;
    constexpr int64_t MB = 1'048'576;
    expect(metrics.totalFiles == (counters.totalFiles == 0 ? 1 : counters.totalFiles));
    expect(metrics.totalMB == std::lldiv(bytes, MB).quot);
    expect(metrics.doneMB == std::lldiv(counters.bytesDone, MB).quot);
    if (isExact(counters.filesDone) && isExact(counters.bytesDone))
        expect(metrics.percentage
            == half(counters.bytesDone, counters.totalBytes)
                + half(counters.filesDone, counters.totalFiles));
    if (isExact(counters.bytesDone)) {
        double const rate = static_cast<double>(counters.bytesDone) / std::max(seconds, 1.0)
            / static_cast<double>(MB);
        expect(std::abs(static_cast<double>(metrics.throughput) - rate) <= 1);
    }
    return 0;
}
