#include "app/read/LoadMeter.h"

#include <cstdint>
#include <limits>
#include <thread>

namespace app {

namespace {

/** Outputs that `readCounters` left as they were: the kernel lists no such processor. */
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
    machine.loadsMeasured = true;
    m_begun = std::chrono::steady_clock::now();
    m_first = sample(machine);
}

void LoadMeter::end(Machine& machine)
{
    if (m_first.empty())
        return;
    std::this_thread::sleep_until(m_begun + std::chrono::seconds(1));
    auto const second = sample(machine);
    for (size_t i = 0; i < second.size(); ++i)
        if (m_first[i] && second[i])
            (*machine.processors)[i].loadPercent = loadBetween(*m_first[i], *second[i]);
}

std::vector<std::optional<ProcessorTicks>> LoadMeter::sample(Machine& machine)
{
    std::vector<std::optional<ProcessorTicks>> ticks(machine.processors->size());
    bool const complete = m_reader.query(machine,
        {Subject::PROCESSORS, "the processors' loads", "the counters cannot be read", "/proc/stat"},
        [&] {
            for (size_t i = 0; i < ticks.size(); ++i) {
                unsigned idle = UNTOUCHED;
                unsigned busy = UNTOUCHED;
                sysinfo::UNIXSystemInformation::UNIXCPUInfo const processor(
                    static_cast<unsigned>(i));
                if (!processor.readCounters(idle, busy))
                    return false;
                if (idle != UNTOUCHED || busy != UNTOUCHED)
                    ticks[i] = {idle, busy};
            }
            return true;
        });
    if (!complete)
        ticks.clear();
    return ticks;
}

}
