#include "app/read/Reader.h"
#include "app/read/firmware_text.h"
#include "app/read/host_name.h"
#include "app/read/kernel_file.h"
#include "app/read/virtualization.h"

#include <sys/utsname.h>

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

void readSystem(Machine& machine)
{
    System& system = machine.system.emplace();
    system.vendor = firmwareText("sys_vendor");
    system.product = firmwareText("product_name");
    system.version = firmwareText("product_version");
    system.firmwareVendor = firmwareText("bios_vendor");
    system.firmwareVersion = firmwareText("bios_version");
    system.firmwareDate = firmwareText("bios_date");
    if (!system.vendor && !system.product)
        system.product = deviceTreeModel();
    system.virtualMachine = virtualMachine();
    system.container = container();
    system.hostName = hostName();
    system.osName = osName();
    utsname kernel{};
    if (uname(&kernel) == 0) {
        system.kernel = known(kernel.release);
        system.architecture = known(kernel.machine);
    }
    system.bootTime = bootTime();
    system.uptimeSeconds = uptimeSeconds();
}

}
