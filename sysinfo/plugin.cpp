#include "sysinfo/plugin.h"

#include "sysinfo/LinuxSystemInformation.h"

extern "C" sysinfo::SystemInformation* libopen()
{
    return new sysinfo::LinuxSystemInformation;
}

extern "C" void libclose(sysinfo::SystemInformation* object)
{
    delete object;
}
