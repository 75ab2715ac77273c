#include "app/read/read_machine.h"

#include "app/read/LibraryQueries.h"
#include "app/read/LoadMeter.h"
#include "app/read/MountReader.h"
#include "app/read/Reader.h"
#include "app/read/block_devices.h"
#include "app/read/differences.h"
#include "app/read/memory_modules.h"
#include "app/read/recovery.h"

#include <ctime>
#include <optional>

namespace app {

Machine readMachine(ReadRequest const& request, TraceOutput& trace)
{
    Machine machine;
    machine.subjects = request.subjects;
    machine.time = std::time(nullptr);
    auto const begin = [&](Subject subject) {
        bool const wanted = machine.wasAskedFor(subject);
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

    if (modules)
        modules->finish(machine);
    if (mounts)
        mounts->finish(machine);
    loads.end(machine);
    queries.finish(machine, request.began);
    machine.differences = differencesOf(machine);
    return machine;
}

}
