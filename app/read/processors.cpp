#include "app/read/Reader.h"

namespace app {

namespace {

using Records = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::CPUInfo>>;

/** The library reports a speed that the kernel does not as 0. */
std::optional<unsigned> knownSpeed(unsigned mhz)
{
    return mhz == 0 ? std::nullopt : std::optional(mhz);
}

}

void readProcessors(Reader& reader, Machine& machine)
{
    Records records;
    if (!reader.query(machine,
            {Subject::PROCESSORS, "the processors", "the kernel's list cannot be read",
                "/proc/stat"},
            [&] { return reader.library().getCPUsInternal(records); }))
        return;
    auto& processors = machine.processors.emplace();
    for (auto const& record : records)
        processors.push_back({knownSpeed(record->getCurrentSpeedInMHZ()),
            knownSpeed(record->getMaxSpeedInMHZ()), std::nullopt});
}

}
