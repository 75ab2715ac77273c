// A host that is linked to the library: memory and processors of this machine in a few lines.

#include <sysinfo/SystemInformation.h>

#include <clocale>
#include <iostream>
#include <vector>

using sysinfo::SystemInformation;

namespace {

void showMemory(SystemInformation const& system)
{
    uint64_t totalKiB = 0;
    uint64_t freeKiB = 0;
    if (system.getMemoryInfo(totalKiB, freeKiB))
        std::cout << "memory: " << freeKiB << " of " << totalKiB << " KiB free\n";
}

bool showProcessors(SystemInformation const& system)
{
    // The records are this list's own: it frees them, and a copy of it would copy them.
    std::vector<dovrel::value_ptr<SystemInformation::CPUInfo>> processors;
    if (!system.getCPUsInternal(processors))
        return false;
    for (size_t i = 0; i < processors.size(); ++i) {
        // A speed is 0 where the kernel does not tell it. getCurrentUsage() and toString() are left
        // out here: they watch the processor for a second at least.
        std::cout << "processor " << i << ": " << processors[i]->getCurrentSpeedInMHZ() << " of "
                  << processors[i]->getMaxSpeedInMHZ() << " MHz\n";
    }
    return true;
}

}

int main()
{
    // Texts are converted to and from the user's encoding; the library leaves the locale to us.
    std::setlocale(LC_ALL, "");

    dovrel::value_ptr<SystemInformation> const system = SystemInformation::create();
    showMemory(*system);
    if (!showProcessors(*system)) {
        std::cerr << "the processors cannot be listed: " << system->getLastError() << '\n';
        return 1;
    }
    return 0;
}
