#include "sysinfo/LinuxSystemInformation.h"

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

}
