#include "tests/app/WholeMachine.h"

#include <utility>

namespace app_test {

WholeMachine::WholeMachine()
{
    kernel("MemTotal: 2096128 kB\nMemFree: 1048576 kB\n");
    modules("Memory Device\n\tSize: 2 GB\n");
    counters("cpu0 1 1 1 1 1 1 1\ncpu1 1 1 1 1 1 1 1\n");
    kernelFile("devices/system/cpu/cpu1/cpufreq/bios_limit", "3500000\n");
    kernelFile("class/dmi/id/sys_vendor", "Acme\n");
    kernelFile("class/dmi/id/product_name", "Rocket\n");
    partitions("8 0 1000 sdzz\n");
    kernelFile("block/sdzz/size", "2000\n");
    mounts("");
    std::filesystem::create_directories(folder().path() / "sbin");
    std::filesystem::create_directories(folder().path() / "tools");
    for (char const* const tool : {"sh", "grep", "sleep"})
        std::filesystem::copy_file(
            std::filesystem::path("/bin") / tool, folder().path() / "tools" / tool);
    // Its beginning is that of the one cloud whose machines are told by it.
    adapters("eth0: flags=4163<UP>\n        inet 10.0.0.5  netmask 255.255.255.0\n"
             "        ether 00:0d:3a:00:00:01  txqueuelen 1000\n");
    routes("");
    nameServers("nameserver 10.0.0.1\n");
}

void WholeMachine::counters(std::string const& lines)
{
    folder().file("stat", lines);
}

void WholeMachine::countersDuringMeasurement(std::string const& lines)
{
    // Rewritten in place: a new file would not be the one that stands at /proc/stat.
    tool("printf '" + lines + "' >'" + (folder().path() / "stat").string() + "'\n");
}

void WholeMachine::partitions(std::string const& lines)
{
    folder().file("partitions", "major minor  #blocks  name\n\n" + lines);
}

void WholeMachine::mounts(std::string const& lines)
{
    folder().file("mounts", lines);
}

void WholeMachine::kernelFile(std::string const& path, std::string const& text)
{
    folder().file("sys/" + path, text);
}

void WholeMachine::device(std::string const& name, std::string const& persistentName)
{
    m_hasDevices = true;
    folder().file("dev/" + name, "");
    if (persistentName.empty())
        return;
    auto const links = folder().path() / "dev/disk/by-id";
    std::filesystem::create_directories(links);
    std::filesystem::create_symlink("../../" + name, links / persistentName);
}

void WholeMachine::adapters(std::string const& text)
{
    printingTool("ifconfig", text);
}

void WholeMachine::routes(std::string const& text)
{
    printingTool("route", text);
}

void WholeMachine::nameServers(std::string const& text)
{
    printingTool("cat", text);
}

void WholeMachine::printingTool(std::string const& name, std::string const& text)
{
    auto const output = folder().file("output/" + name, text);
    // The machine has no cat that reads files.
    script(name,
        "while IFS= read -r line; do printf '%s\\n' \"$line\"; done <" + output.string() + "\n");
}

void WholeMachine::script(std::string const& name, std::string const& text)
{
    auto const file = folder().file("tools/" + name, "#!/bin/sh\n" + text);
    using std::filesystem::perms;
    std::filesystem::permissions(
        file, perms::owner_all | perms::group_read | perms::others_read | perms::others_exec);
}

void WholeMachine::removeTool(std::string const& name)
{
    std::filesystem::remove(folder().path() / "tools" / name);
}

void WholeMachine::hide(std::string const& file)
{
    std::filesystem::permissions(folder().path() / file, std::filesystem::perms::none);
}

Program WholeMachine::program(std::vector<std::string> arguments) const
{
    Program program = MemoryMachine::program(std::move(arguments));
    auto const path = folder().path();
    for (char const* const file : {"stat", "partitions", "mounts"})
        program.replaced[std::string("/proc/") + file] = path / file;
    program.replaced["/sys"] = path / "sys";
    program.replaced["/bin"] = path / "tools";
    program.replaced["/sbin"] = path / "sbin";
    if (m_hasDevices)
        program.replaced["/dev"] = path / "dev";
    return program;
}

}
