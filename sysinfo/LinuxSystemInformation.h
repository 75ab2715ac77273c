#pragma once

#include "sysinfo/UNIXSystemInformation.h"

namespace sysinfo {

/** What Linux tells: the one concrete service class. */
class DOVREL_EXPORT LinuxSystemInformation : public UNIXSystemInformation {
public:
    LinuxSystemInformation() = default;
    LinuxSystemInformation(LinuxSystemInformation const&) = default;
    LinuxSystemInformation& operator=(LinuxSystemInformation const&) = default;
    ~LinuxSystemInformation() override;

    SystemInformation* clone() const override;
    void destroy() override;

    /**
     * The kernel's figures, the total raised to the sum of the memory modules that `dmidecode`
     * lists where that is more, dmidecode(8). Starts a child process on every call.
     *
     * Where the tool is missing, fails or may not read the firmware's tables, the kernel's total
     * stands. Kept: the tool's output is read in pieces of at most 255 bytes, and a module whose
     * size line straddles two of them is left out, so the sum may be short.
     *
     * @return whether the kernel told both figures, whatever the modules told.
     * @throws dovrel::ProcessException where the tool cannot be started, or has not ended a tenth
     * of a second after its output; the outputs are set as far as they were known.
     */
    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override;
    bool getPhysicalDisksInternal(
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const override;
    bool getNetworksInternal(std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const override;
};

}
