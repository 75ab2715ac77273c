#pragma once

#include <optional>
#include <string>

namespace app {

/** The machine's identity. An empty string is unknown. */
struct System {
    std::string vendor;
    std::string product;
    std::string version;
    std::optional<unsigned> hypervisorCode; ///< `sysinfo::SystemInformation::HypervisorType`.
};

}
