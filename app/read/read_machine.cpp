#include "app/read/read_machine.h"

#include "app/read/LoadMeter.h"
#include "app/read/Reader.h"

#include <utility>

namespace app {

namespace {

using Read = void (*)(Reader&, Machine&);

/** The processors come first: their loads are measured while the others are read. */
constexpr std::pair<Subject, Read> SUBJECTS[] = {
    {Subject::PROCESSORS, readProcessors},
    {Subject::SYSTEM, readSystem},
    {Subject::MEMORY, readMemory},
    {Subject::DISKS, readDisks},
    {Subject::MOUNTS, readMounts},
    {Subject::NETWORKS, readNetworks},
    {Subject::RECOVERY, readRecovery},
};

}

Machine readMachine(ReadRequest const& request, TraceOutput& trace)
{
    sysinfo::LinuxSystemInformation const library;
    Reader reader(trace, library);
    Machine machine;
    machine.subjects = request.subjects;
    LoadMeter meter(reader);
    for (auto const& [subject, read] : SUBJECTS) {
        if (!machine.wasAskedFor(subject))
            continue;
        if (request.began)
            request.began(subject);
        read(reader, machine);
        if (subject == Subject::PROCESSORS && request.loads)
            meter.begin(machine);
    }
    meter.end(machine);
    return machine;
}

}
