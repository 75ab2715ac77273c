#include "app/read/Reader.h"
#include "app/read/firmware_text.h"
#include "app/read/host_name.h"
#include "app/read/kernel_file.h"
#include "app/read/virtualization.h"

#include <cerrno>
#include <sys/utsname.h>
#include <utility>

namespace app {

namespace {

/** The value of a shell assignment in os-release(5), without its quotes. */
std::optional<std::string> assigned(std::string const& text, std::string const& name)
{
    for (std::string const& line : linesOf(text)) {
        if (line.compare(0, name.size() + 1, name + "=") != 0)
            continue;
        std::string value = trimmed(line.substr(name.size() + 1));
        bool const literal = value[0] == '\'';
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'')
            && value.back() == value.front())
            value = value.substr(1, value.size() - 2);
        if (literal)
            return known(value);
        std::string plain;
        for (size_t i = 0; i < value.size(); ++i) {
            if (value[i] == '\\' && i + 1 < value.size())
                ++i;
            plain += value[i];
        }
        return known(plain);
    }
    return std::nullopt;
}

/** os-release(5); older distributions have separate files with one line. */
std::optional<std::string> osName()
{
    auto const fromRelease = [](char const* path) {
        std::string const text = readFile(path).value_or("");
        auto name = assigned(text, "PRETTY_NAME");
        return name ? name : assigned(text, "NAME");
    };
    if (auto name = fromRelease("/etc/os-release"))
        return name;
    for (char const* const path : {"/etc/redhat-release", "/etc/SuSE-release"})
        if (auto line = readLine(path))
            return line;
    if (auto name = fromRelease("/usr/lib/os-release"))
        return name;
    auto const debian = readLine("/etc/debian_version");
    return debian ? std::optional("Debian GNU/Linux " + *debian) : std::nullopt;
}

/** "btime" in /proc/stat, seconds since 1970; proc(5). */
std::optional<int64_t> bootTime()
{
    for (std::string const& line : linesOf(readFile("/proc/stat").value_or("")))
        if (auto const words = wordsOf(line); words.size() == 2 && words[0] == "btime")
            if (auto const seconds = numberOf(words[1]))
                return static_cast<int64_t>(*seconds);
    return std::nullopt;
}

/** The first number in /proc/uptime; proc(5). */
std::optional<uint64_t> uptimeSeconds()
{
    std::string const line = readLine("/proc/uptime").value_or("");
    return numberOf(line.substr(0, line.find('.')));
}

/** The machine's model in a device tree, which has no vendor apart from it. */
std::optional<std::string> deviceTreeModel()
{
    auto const text = readFile("/proc/device-tree/model");
    return text ? known(trimmed(*text)) : std::nullopt;
}

}

namespace {

/** Vendor, product and version of the machine and its firmware. */
void readFirmware(Machine& machine, System& system)
{
    UnreadableFiles const unreadable;
    std::pair<char const*, std::optional<std::string> System::*> const texts[] = {
        {"sys_vendor", &System::vendor}, {"product_name", &System::product},
        {"product_version", &System::version}, {"bios_vendor", &System::firmwareVendor},
        {"bios_version", &System::firmwareVersion}, {"bios_date", &System::firmwareDate}};
    bool isNothingKnown = true;
    for (auto const& [name, member] : texts) {
        system.*member = firmwareText(name);
        isNothingKnown = isNothingKnown && !(system.*member);
    }
    if (!system.vendor && !system.product)
        system.product = deviceTreeModel();
    std::string const folder = "/sys/class/dmi/id";
    if (isNothingKnown)
        addUnknown(machine, Subject::SYSTEM, "the vendor and the firmware", unreadable,
            exists(folder) ? "the firmware's tables do not have them" : "there is no " + folder,
            folder);
    else
        addUnreadable(machine, Subject::SYSTEM, "the vendor and the firmware", unreadable);
}

/** A virtual machine or a container. */
void readVirtualization(Machine& machine, System& system)
{
    constexpr char const* FLAGS = "/proc/cpuinfo";
    UnreadableFiles const unreadable;
    system.virtualMachine = virtualMachine();
    if (!system.virtualMachine)
        addUnknown(machine, Subject::SYSTEM, "the hypervisor", unreadable,
            exists(FLAGS) ? "the firmware names none and /proc/cpuinfo has no flags"
                          : std::string("there is no ") + FLAGS,
            FLAGS);
    system.container = container();
    // It is no problem: an ordinary user never can.
    if (!system.container)
        machine.unavailable.push_back({Subject::SYSTEM, "the container manager",
            "this user cannot read /proc/1/environ", "/proc/1/environ"});
}

template <class Fact, class Read> std::optional<Fact> readFact(
    Machine& machine, std::string const& fact, std::string const& source, Read const& read)
{
    UnreadableFiles const unreadable;
    auto value = read();
    if (!value)
        addUnknown(machine, Subject::SYSTEM, fact, unreadable, absenceIn(source), source);
    return value;
}

}

void readSystem(Machine& machine)
{
    System& system = machine.system.emplace();
    readFirmware(machine, system);
    readVirtualization(machine, system);
    errno = 0;
    system.hostName = hostName();
    if (!system.hostName && errno != 0)
        addProblem(machine, Subject::SYSTEM, "the host name", "gethostname");
    else if (!system.hostName)
        machine.unavailable.push_back(
            {Subject::SYSTEM, "the host name", "it is empty", "gethostname"});
    system.osName =
        readFact<std::string>(machine, "the operating system", "/etc/os-release", osName);
    utsname kernel{};
    if (uname(&kernel) == 0) {
        system.kernel = known(kernel.release);
        system.architecture = known(kernel.machine);
    } else {
        addProblem(machine, Subject::SYSTEM, "the kernel", "uname");
    }
    system.bootTime = readFact<int64_t>(machine, "the boot time", "/proc/stat", bootTime);
    system.uptimeSeconds = readFact<uint64_t>(machine, "the uptime", "/proc/uptime", uptimeSeconds);
}

}
