#include "sysinfo/SystemInformation.h"

#include "sysinfo/LinuxSystemInformation.h"

namespace sysinfo {

// One file defines all of them, so that the order of construction is fixed.
SystemInformation::ListCache<SystemInformation::PhysicalDiskInfo> SystemInformation::m_diskCache;
SystemInformation::ListCache<SystemInformation::DiskInfo> SystemInformation::m_fsCache;
SystemInformation::ListCache<SystemInformation::CPUInfo> SystemInformation::m_cpuCache;
SystemInformation::ListCache<SystemInformation::NetworkInfo> SystemInformation::m_netCache;
SystemInformation::MemoryCache SystemInformation::m_memCache;

dovrel::value_ptr<SystemInformation> SystemInformation::create()
{
    return dovrel::value_ptr<SystemInformation>(new LinuxSystemInformation);
}

}
