#include "app/read/LoadMeter.h"

#include "app/read/kernel_file.h"

#include <sysinfo/UNIXSystemInformation.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <thread>

namespace app {

namespace {

/** Outputs that `readCounters` leaves as they are: the kernel lists no such processor. */
constexpr unsigned UNTOUCHED = std::numeric_limits<unsigned>::max();

constexpr char const* STAT = "/proc/stat";

/** Adds a problem, but one for the file: the list of processors is read from it, too. */
void addFailure(Machine& machine, std::string const& reason)
{
    if (std::none_of(machine.problems.begin(), machine.problems.end(), [](Problem const& problem) {
            return problem.subject == Subject::PROCESSORS && problem.source == STAT;
        }))
        machine.problems.push_back({Subject::PROCESSORS, "the processors' loads", reason, STAT});
}

/** The library reads the counters and does not report why it cannot. Adds the reason. */
bool canRead(Machine& machine)
{
    if (readFile(STAT))
        return true;
    addFailure(machine, errorText(errno));
    return false;
}

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
    if (!canRead(machine))
        return {};
    Samples samples;
    for (Processor const& processor : machine.processors->list) {
        unsigned idle = UNTOUCHED;
        unsigned busy = UNTOUCHED;
        sysinfo::UNIXSystemInformation::UNIXCPUInfo const record(processor.number);
        if (!record.readCounters(idle, busy)) {
            addFailure(machine, "the counters cannot be read");
            return {};
        }
        if (idle != UNTOUCHED || busy != UNTOUCHED)
            samples[processor.number] = {idle, busy};
    }
    if (samples.empty())
        addFailure(machine, "it has no counters of a processor");
    return samples;
}

}
