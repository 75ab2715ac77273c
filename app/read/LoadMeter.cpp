#include "app/read/LoadMeter.h"

#include <sysinfo/UNIXSystemInformation.h>

#include <cstdint>
#include <limits>
#include <thread>

namespace app {

namespace {

/** Outputs that `readCounters` leaves as they are: the kernel lists no such processor. */
constexpr unsigned UNTOUCHED = std::numeric_limits<unsigned>::max();

}

std::optional<double> loadBetween(ProcessorTicks const& first, ProcessorTicks const& second)
{
    // Of 32 bits, so that a counter that passes 2^32 between the samples has moved forwards.
    auto const busy = static_cast<int32_t>(second.busy - first.busy);
    auto const idle = static_cast<int32_t>(second.idle - first.idle);
    if (busy == 0)
        return 0.0;
    if (busy < 0 || idle < 0)
        return std::nullopt;
    return 100.0 * busy / (static_cast<double>(busy) + idle);
}

void LoadMeter::begin(Machine& machine)
{
    if (!machine.processors)
        return;
    machine.processors->loadsMeasured = true;
    m_begun = std::chrono::steady_clock::now();
    m_first = sample(machine);
}

void LoadMeter::end(Machine& machine)
{
    if (m_first.empty())
        return;
    std::this_thread::sleep_until(m_begun + std::chrono::seconds(1));
    Samples const second = sample(machine);
    double sum = 0;
    unsigned known = 0;
    for (Processor& processor : machine.processors->list) {
        auto const before = m_first.find(processor.number);
        auto const after = second.find(processor.number);
        if (before == m_first.end() || after == second.end())
            continue;
        processor.loadPercent = loadBetween(before->second, after->second);
        sum += processor.loadPercent.value_or(0);
        known += processor.loadPercent ? 1 : 0;
    }
    // All processors have counted the same second.
    if (known > 0)
        machine.processors->loadPercent = sum / known;
}

LoadMeter::Samples LoadMeter::sample(Machine& machine)
{
    Samples samples;
    for (Processor const& processor : machine.processors->list) {
        unsigned idle = UNTOUCHED;
        unsigned busy = UNTOUCHED;
        sysinfo::UNIXSystemInformation::UNIXCPUInfo const record(processor.number);
        if (!record.readCounters(idle, busy)) {
            machine.problems.push_back({Subject::PROCESSORS, "the processors' loads",
                "the counters cannot be read", "/proc/stat"});
            return {};
        }
        if (idle != UNTOUCHED || busy != UNTOUCHED)
            samples[processor.number] = {idle, busy};
    }
    return samples;
}

}
