// A host that links the library and prints the memory and the processors of this machine.

#include <common/platform/trace.h>
#include <sysinfo/SystemInformation.h>

#include <clocale>
#include <iostream>
#include <vector>

using sysinfo::SystemInformation;

namespace {

/** Receives each line of the library's trace. */
void printCause(
    void* /*context*/, unsigned /*level*/, char const* /*scope*/, dovrel::string const& line)
{
    std::cerr << line;
}

void showMemory(SystemInformation const& system)
{
    uint64_t totalKiB = 0;
    uint64_t freeKiB = 0;
    if (system.getMemoryInfo(totalKiB, freeKiB))
        std::cout << "memory: " << freeKiB << " of " << totalKiB << " KiB free\n";
}

bool showProcessors(SystemInformation const& system)
{
    // The list owns the records: it frees them, and a copy of the list copies them.
    std::vector<dovrel::value_ptr<SystemInformation::CPUInfo>> processors;
    if (!system.getCPUsInternal(processors))
        return false;
    for (size_t i = 0; i < processors.size(); ++i) {
        // A speed is 0 where the kernel does not report it. getCurrentUsage() and toString() are
        // not called here: they take one second or more.
        std::cout << "processor " << i << ": " << processors[i]->getCurrentSpeedInMHZ() << " of "
                  << processors[i]->getMaxSpeedInMHZ() << " MHz\n";
    }
    return true;
}

}

int main()
{
    // The library converts strings in the host's locale and does not set it.
    std::setlocale(LC_CTYPE, "");
    // A query that fails returns false and writes the cause to the trace at level 1.
    dovrel::trace::setSink(printCause, nullptr);
    dovrel::trace::setDetailLevel(1);

    dovrel::value_ptr<SystemInformation> const system = SystemInformation::create();
    showMemory(*system);
    return showProcessors(*system) ? 0 : 1;
}
