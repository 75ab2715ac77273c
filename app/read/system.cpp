#include "app/read/Reader.h"

namespace app {

void readSystem(Reader& reader, Machine& machine)
{
    using Service = sysinfo::SystemInformation;
    System system;
    Service::HypervisorType hypervisor = Service::HYPERVISOR_NONE;
    bool const complete = reader.query(machine,
        {Subject::SYSTEM, "the system's identity",
            "neither the firmware nor the processor reports it",
            "/sys/class/dmi/id, CPUID, ifconfig -a"},
        [&] {
            return reader.library().getSystemInfo(
                system.vendor, system.product, system.version, hypervisor);
        });
    // A query that fails leaves "none" there, so then it means nothing.
    if (complete || hypervisor != Service::HYPERVISOR_NONE)
        system.hypervisorCode = static_cast<unsigned>(hypervisor);
    bool const anyKnown = !system.vendor.empty() || !system.product.empty()
        || !system.version.empty() || system.hypervisorCode;
    if (complete || anyKnown)
        machine.system = system;
}

}
