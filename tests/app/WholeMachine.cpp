#include "tests/app/WholeMachine.h"

#include <utility>

namespace app_test {

WholeMachine::WholeMachine()
{
    memory("MemTotal: 2097152 kB\nMemFree: 524288 kB\nMemAvailable: 1048576 kB\n");
    counters("cpu0 1 1 1 1 1 1 1\ncpu1 1 1 1 1 1 1 1\n");
    m_folder.file("cpuinfo", "processor : 0\nmodel name : Acme CPU\n");
    mounts({});
    m_folder.file("partitions", "major minor  #blocks  name\n\n8 0 1000 sdzz\n");
    kernelFile("devices/system/cpu/cpu1/cpufreq/cpuinfo_max_freq", "3500000\n");
    kernelFile("class/dmi/id/sys_vendor", "Acme\n");
    kernelFile("class/dmi/id/product_name", "Rocket\n");
    kernelFile("block/sdzz/size", "2000\n");
    kernelFile("block/sdzz/dev", "8:0\n");
    kernelFile("class/net/kit0/ifindex", "9\n");
    kernelFile("class/net/kit0/address", "00:0d:3a:00:00:01\n");
    std::filesystem::create_directories(m_folder.path() / "sbin");
    std::filesystem::create_directories(m_folder.path() / "tools");
    for (char const* const tool : {"sh", "grep", "sleep"})
        std::filesystem::copy_file(
            std::filesystem::path("/bin") / tool, m_folder.path() / "tools" / tool);
    tool("dmidecode", "");
    tool("ifconfig", "echo 'kit0: flags=4163<UP>'; echo '        inet 10.0.0.5'\n");
    tool("route", "");
    tool("cat", "");
}

void WholeMachine::memory(std::string const& lines) const
{
    m_folder.file("meminfo", lines);
}

void WholeMachine::counters(std::string const& lines) const
{
    m_folder.file("stat", lines);
}

void WholeMachine::mounts(std::vector<std::string> const& places) const
{
    std::string lines;
    for (std::string const& place : places)
        lines += "22 1 8:0 / " + place + " rw - ext4 /dev/sdzz rw\n";
    m_folder.file("mountinfo", lines);
}

void WholeMachine::kernelFile(std::string const& path, std::string const& text) const
{
    m_folder.file("sys/" + path, text);
}

void WholeMachine::tool(std::string const& name, std::string const& script) const
{
    auto const file = m_folder.file("tools/" + name, "#!/bin/sh\n" + script);
    using std::filesystem::perms;
    std::filesystem::permissions(
        file, perms::owner_all | perms::group_read | perms::others_read | perms::others_exec);
}

void WholeMachine::hide(std::string const& file) const
{
    std::filesystem::permissions(m_folder.path() / file, std::filesystem::perms::none);
}

Program WholeMachine::program(std::vector<std::string> arguments) const
{
    Program program(std::move(arguments));
    auto const path = m_folder.path();
    for (char const* const file : {"cpuinfo", "meminfo", "stat", "partitions"})
        program.replaced[std::string("/proc/") + file] = path / file;
    program.replaced["/proc/self/mountinfo"] = path / "mountinfo";
    // The kernel's older table, which the program reads where it cannot read the other.
    program.replaced["/proc/self/mounts"] = path / "mountinfo";
    program.replaced["/sys"] = path / "sys";
    program.replaced["/bin"] = path / "tools";
    program.replaced["/sbin"] = path / "sbin";
    program.environment["PATH"] = "/bin";
    return program;
}

}
