#include "app/read/virtualization.h"

#include "app/read/kernel_file.h"

#include <algorithm>
#include <cerrno>
#include <sstream>

namespace app {

namespace {

struct Sign {
    char const* beginning; ///< Of a string of the firmware.
    char const* name;
};

/** Texts of the firmware that a hypervisor gives its guests, as systemd-detect-virt(1) lists them.
 * A cloud's name stands before that of the hypervisor that it uses. */
constexpr Sign FIRMWARE_SIGNS[] = {
    {"Amazon EC2", "Amazon"},
    {"Google Compute Engine", "Google"}, // The vendor makes laptops too.
    {"KVM", "KVM"},
    {"OpenStack", "KVM"},
    {"Red Hat KVM", "KVM"},
    {"QEMU", "QEMU"},
    {"Bochs", "QEMU"},
    {"VMware", "VMware"},
    {"VMW", "VMware"},
    {"innotek GmbH", "VirtualBox"},
    {"VirtualBox", "VirtualBox"},
    {"Xen", "Xen"},
    {"Parallels", "Parallels"},
    {"BHYVE", "bhyve"},
    {"Hyper-V", "Hyper-V"},
    {"Apple Virtualization", "Apple"},
};

/** Clocks that a hypervisor offers its guests. */
constexpr Sign CLOCK_SIGNS[] = {
    {"kvm-clock", "KVM"},
    {"hyperv_clocksource", "Hyper-V"},
    {"xen", "Xen"},
};

template <size_t COUNT>
std::optional<std::string> nameOf(std::string const& text, Sign const (&signs)[COUNT])
{
    for (Sign const& sign : signs)
        if (text.rfind(sign.beginning, 0) == 0)
            return sign.name;
    return std::nullopt;
}

/** @return whether the machine is a real one of the cloud, "m5.metal" or "m7i.metal-24xl". Its
 * vendor is the same as that of the virtual ones. */
bool isRentedWhole(std::string const& name)
{
    return name == "Amazon"
        && readLine("/sys/class/dmi/id/product_name").value_or("").find(".metal")
        != std::string::npos;
}

std::optional<std::string> firmwareName()
{
    std::string const folder = "/sys/class/dmi/id/";
    for (char const* const file :
        {"product_name", "sys_vendor", "board_vendor", "bios_vendor", "product_version"})
        if (auto name = nameOf(readLine(folder + file).value_or(""), FIRMWARE_SIGNS))
            return isRentedWhole(*name) ? std::nullopt : name;
    // Its vendor makes real machines too.
    bool const microsoft = readLine(folder + "sys_vendor") == "Microsoft Corporation";
    if (microsoft && readLine(folder + "product_name") == "Virtual Machine")
        return "Hyper-V";
    return std::nullopt;
}

std::optional<std::string> clockName()
{
    auto const clocks =
        readLine("/sys/devices/system/clocksource/clocksource0/available_clocksource");
    for (std::string const& clock : wordsOf(clocks.value_or("")))
        if (auto name = nameOf(clock, CLOCK_SIGNS))
            return name;
    return std::nullopt;
}

/** @return whether the processor has the flag that hypervisors set for their guests; nothing where
 * it has no list of flags, as on other architectures than x86. */
std::optional<bool> isGuest()
{
    for (std::string const& line : linesOf(readFile("/proc/cpuinfo").value_or(""))) {
        auto const words = wordsOf(line);
        if (!words.empty() && words[0] == "flags")
            return std::find(words.begin(), words.end(), "hypervisor") != words.end();
    }
    return std::nullopt;
}

/** @return the variable "container" of the first process, which only root can read. */
std::optional<std::string> containerOfInit()
{
    constexpr char const* VARIABLE = "container=";
    // The variables are separated by NUL bytes.
    std::istringstream environment(readFile("/proc/1/environ").value_or(""));
    for (std::string variable; std::getline(environment, variable, '\0');)
        if (variable.rfind(VARIABLE, 0) == 0)
            return known(variable.substr(std::string(VARIABLE).size()));
    return std::nullopt;
}

}

std::optional<std::string> virtualMachine()
{
    auto firmware = firmwareName();
    // QEMU's firmware is the same with the kernel's acceleration and without.
    if (firmware && firmware != "QEMU")
        return firmware;
    if (auto clock = clockName())
        return clock;
    if (firmware)
        return firmware;
    if (readLine("/sys/hypervisor/type") == "xen")
        return "Xen";
    auto const guest = isGuest();
    if (!guest)
        return std::nullopt;
    return *guest ? "other" : "none";
}

std::optional<std::string> container()
{
    // systemd's interface for container managers. Others create separate files.
    if (auto name = readLine("/run/systemd/container"))
        return name;
    if (exists("/run/.containerenv"))
        return "podman";
    if (exists("/.dockerenv"))
        return "docker";
    if (exists("/proc/vz") && !exists("/proc/bc"))
        return "openvz";
    if (auto name = containerOfInit())
        return name;
    // Only root can read it. systemd would have left the file above.
    bool const unreadable = !readFile("/proc/1/environ") && errno == EACCES;
    return unreadable && !exists("/run/systemd/system") ? std::nullopt
                                                        : std::optional<std::string>("none");
}

}
