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

    bool getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const override;
    bool getPhysicalDisksInternal(
        std::vector<dovrel::value_ptr<PhysicalDiskInfo>>& disks) const override;
    bool getNetworksInternal(std::vector<dovrel::value_ptr<NetworkInfo>>& adapters) const override;
};

}
