#include "app/write/names.h"

#include "app/write/display.h"

#include <array>

namespace app {

std::optional<std::string> hypervisorName(unsigned code)
{
    // In the order of the codes.
    constexpr std::array NAMES = {"none", "VMware", "Hyper-V", "Xen", "KVM", "QEMU", "VirtualBox",
        "Parallels", "other", "bhyve", "Amazon", "Azure"};
    return code < NAMES.size() ? std::optional<std::string>(NAMES[code]) : std::nullopt;
}

std::string phaseText(Recovery const& recovery)
{
    switch (recovery.phase()) {
    case RecoveryPhase::IDLE:
        return "idle";
    case RecoveryPhase::RESTORING:
        return "restoring";
    case RecoveryPhase::FINAL_SYNC:
        return "final sync";
    case RecoveryPhase::EARLY:
        return "early operation " + std::to_string(recovery.operation);
    case RecoveryPhase::LATER:
        break;
    }
    return "later operation " + std::to_string(recovery.operation);
}

std::string problemText(Problem const& problem)
{
    return "cannot read " + problem.fact + " from " + problem.source + ": "
        + printable(problem.reason);
}

}
