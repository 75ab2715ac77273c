#pragma once

#include <sysinfo/SystemInformation.h>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

/**
 * The load of many processors within the time that one takes.
 *
 * A processor's load holds its caller for a second at least and, as long as the processor stays
 * idle, for up to 101 seconds. Records are independent of each other, so each is asked in a thread
 * of its own, on a copy of its own.
 */
namespace app {

using CpuRecords = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::CPUInfo>>;

struct SamplingLimits {
    /** Those without an answer by then are reported unknown. */
    std::chrono::steady_clock::duration maxWait;

    /** Threads at once. Where fewer can be had, they take one processor after the other. */
    size_t maxThreads = 4096;
};

struct UsageSample {
    /** One for each record, in their order: percent from 0 to 100, or nothing where it is unknown.
     */
    std::vector<std::optional<float>> percent;

    /**
     * True where threads are still inside the library.
     *
     * The library must then stay loaded and the process must be left by _exit(2). The records that
     * were passed are free: the threads keep their own copies.
     */
    bool threadsLeftBehind = false;
};

/** Called now and then while waiting, on the caller's thread. Must not throw. */
using SamplingProgress =
    std::function<void(size_t done, size_t total, std::chrono::steady_clock::duration elapsed)>;

/** Asks all records side by side. Raises the process's soft limit of descriptors to what that
 * needs, getrlimit(2). @throws std::bad_alloc */
UsageSample sampleUsage(
    CpuRecords const& records, SamplingLimits const& limits, SamplingProgress const& progress);

}
