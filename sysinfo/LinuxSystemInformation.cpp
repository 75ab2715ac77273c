#include "sysinfo/LinuxSystemInformation.h"

#include "common/platform/trace.h"

namespace sysinfo {

LinuxSystemInformation::~LinuxSystemInformation() = default;

SystemInformation* LinuxSystemInformation::clone() const
{
    return new LinuxSystemInformation(*this);
}

void LinuxSystemInformation::destroy()
{
    dovrel::deleteUnlessNull(this);
}

bool LinuxSystemInformation::getNetworksInternal(std::vector<dovrel::value_ptr<NetworkInfo>>&) const
{
    TRACE_SCOPE("virtual bool sysinfo::LinuxSystemInformation::getNetworksInternal("
                "std::vector<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo>, "
                "std::allocator<dovrel::value_ptr<sysinfo::SystemInformation::NetworkInfo> > >&) "
                "const");
    trace.write(1, "not available in this build");
    return false;
}

}
