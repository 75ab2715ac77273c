#include "app/read/read_machine.h"

#include "app/read/LibraryQueries.h"
#include "app/read/LoadMeter.h"
#include "app/read/MountReader.h"
#include "app/read/Reader.h"
#include "app/read/block_devices.h"
#include "app/read/differences.h"
#include "app/read/memory_modules.h"
#include "app/read/recovery.h"

#include <chrono>
#include <ctime>
#include <optional>

namespace app {

namespace {

/** Adds the time between two calls to the subject of the first one, where it was asked for. */
class Stopwatch {
public:
    explicit Stopwatch(Machine& machine) : m_machine(machine) { }

    void turnTo(std::optional<Subject> subject)
    {
        auto const now = Clock::now();
        if (m_subject)
            m_machine.readSeconds[*m_subject] += Seconds(now - m_turned).count();
        m_machine.seconds = Seconds(now - m_begun).count();
        bool const counts = subject && m_machine.wasAskedFor(*subject);
        m_subject = counts ? subject : std::nullopt;
        m_turned = now;
    }

private:
    using Clock = std::chrono::steady_clock;
    using Seconds = std::chrono::duration<double>;

    Machine& m_machine;
    Clock::time_point const m_begun = Clock::now();
    Clock::time_point m_turned;
    std::optional<Subject> m_subject;
};

}

Machine readMachine(ReadRequest const& request, TraceOutput& trace)
{
    Machine machine;
    machine.subjects = request.subjects;
    machine.time = std::time(nullptr);
    Stopwatch watch(machine);
    auto const begin = [&](Subject subject) {
        bool const wanted = machine.wasAskedFor(subject);
        watch.turnTo(subject);
        if (wanted && request.began)
            request.began(subject);
        return wanted;
    };
    // What may take long goes first: it runs while the kernel's files are read.
    LibraryQueries queries(machine, request.toolLimit, trace);
    LoadMeter loads;
    if (begin(Subject::PROCESSORS)) {
        readProcessors(machine);
        if (request.loads)
            loads.begin(machine);
    }
    std::optional<ModuleQuery> modules;
    if (begin(Subject::MEMORY)) {
        readMemory(machine);
        modules.emplace(request.toolLimit);
    }
    if (begin(Subject::DISKS))
        readDisks(machine);
    std::optional<MountReader> mounts;
    if (begin(Subject::MOUNTS)) {
        auto const disks =
            machine.wasAskedFor(Subject::DISKS) ? machine.disks : readBlockDevices(machine);
        mounts.emplace(machine, disks.value_or(std::vector<Disk>()), request.toolLimit);
    }
    if (begin(Subject::SYSTEM))
        readSystem(machine);
    if (begin(Subject::NETWORKS))
        readNetworks(machine);
    if (begin(Subject::RECOVERY))
        readRecovery(machine, trace);

    // These have waited beside the others' reading.
    watch.turnTo(Subject::MEMORY);
    if (modules)
        modules->finish(machine);
    watch.turnTo(Subject::MOUNTS);
    if (mounts)
        mounts->finish(machine);
    watch.turnTo(Subject::PROCESSORS);
    loads.end(machine);
    watch.turnTo(std::nullopt);
    queries.finish(machine, request.began);
    machine.differences = differencesOf(machine);
    watch.turnTo(std::nullopt);
    return machine;
}

}
