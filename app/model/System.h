#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace app {

/** The machine's identity and its operating system. */
struct System {
    std::optional<std::string> vendor;
    std::optional<std::string> product;
    std::optional<std::string> version;
    std::optional<std::string> firmwareVendor;
    std::optional<std::string> firmwareVersion;
    std::optional<std::string> firmwareDate; ///< As the firmware writes it, usually "MM/DD/YYYY".
    std::optional<std::string> virtualMachine; ///< The hypervisor's name, "none" on bare metal.
    std::optional<std::string> container; ///< The container manager's name, "none" outside of one.
    std::optional<std::string> hostName;
    std::optional<std::string> osName; ///< "Debian GNU/Linux 12 (bookworm)".
    std::optional<std::string> kernel; ///< The kernel's release, "6.1.0-18-amd64".
    std::optional<std::string> architecture; ///< Of the kernel, "x86_64".
    std::optional<int64_t> bootTime; ///< Seconds since 1970.
    std::optional<uint64_t> uptimeSeconds;
};

}
