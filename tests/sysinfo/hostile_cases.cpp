// Every source of the queries, and what may be wrong with it.

#include "common/platform/trace.h"
#include "tests/support/Channel.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/HostileCase.h"
#include "tests/sysinfo/ReadCalls.h"
#include "tests/sysinfo/recovery_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <map>

namespace testkit {

namespace {

using Keeper = std::shared_ptr<void>;

constexpr double LIMIT = 120; // Of seconds, also on a machine that is busy otherwise.
constexpr char SPEED[] = "/sys/devices/system/cpu/cpu0/cpufreq/bios_limit";
constexpr char VENDOR[] = "/sys/class/dmi/id/sys_vendor";

Keeper replacedByFifo(std::string const& path, bool withWriter)
{
    machine.remove(path);
    if (::mkfifo(path.c_str(), 0644) != 0)
        fail("mkfifo", path);
    if (!withWriter)
        return nullptr;
    return std::make_shared<Descriptor>(::open(path.c_str(), O_RDWR | O_CLOEXEC), "open");
}

Keeper replacedByDirectory(std::string const& path)
{
    machine.remove(path);
    machine.folder(path);
    return nullptr;
}

Keeper replacedByCircle(std::string const& path)
{
    machine.remove(path);
    machine.link(path, path);
    return nullptr;
}

Keeper madeEndless(std::string const& path, std::string const& text)
{
    auto calls = std::make_shared<ReadCalls>(path);
    calls->repeat(text);
    return calls;
}

void append(std::string const& path, std::string const& text)
{
    std::ofstream(path, std::ios::app) << text;
}

/** The file has zeros behind @p text: 64 MiB without a newline. */
Keeper madeOneLongLine(std::string const& path, std::string const& text)
{
    machine.file(path, text);
    if (::truncate(path.c_str(), off_t{64} << 20) != 0)
        fail("truncate", path);
    return nullptr;
}

/** The file has @p text some thousand times, and changes after the first piece is read. */
Keeper changedWhileRead(
    std::string const& path, std::string const& text, std::function<void()> const& change)
{
    std::string all;
    while (all.size() < 40'000)
        all += text;
    machine.file(path, all);
    auto calls = std::make_shared<ReadCalls>(path);
    calls->beforeSecondRead(change);
    return calls;
}

/** A file that the library reads itself, a query that reads it, and the query's results. */
struct File {
    std::string query;
    std::string path;
    std::string line; ///< It may have it many times.
    std::string empty; ///< The result without data, as from a FIFO or a directory.
    std::string unreadable; ///< The result without the file, or if it has no end.
    std::string longLine; ///< The result for `line` and 64 MiB of zeros.
};

std::vector<File> files()
{
    std::string const kernels = "false 2097152 0"; // The total is that of the modules.
    return {
        {"getMemoryInfo", "/proc/meminfo", "Label: 1 kB\n", kernels, kernels, kernels},
        {"getCPUsInternal", "/proc/stat", "cpu0 1 2 3 4\n", "true 0", "false 0", "true 1"},
        {"getCurrentUsage", "/proc/stat", "cpu9 1 2 3 4\n", "nan", "0", "nan"},
        {"getMaxSpeedInMHZ", SPEED, "\n", "0", "0", "0"},
        {"getPhysicalDisksInternal", "/proc/partitions", "8 0 1 sda\n", "true 0", "false 0",
            "true 0"},
        {"getDisksInternal", "/proc/partitions", "8 0 1 sda\n", "true 2", "false 0", "true 2"},
        {"getDisksInternal", "/proc/mounts", "/dev/sda1 / ext4\n", "true 0", "false 0", "true 1"},
        {"getCloneInfo", RECOVERY_STATUS, "; a comment\n", "null", "null", "null"},
        {"getCloneInfo", RECOVERY_ANSWERS, "; a comment\n", "5000 73", "5000 73", "5000 73"},
        {"getCloneInfo", RECOVERY_PERCENT, "\n", "5500 100", "5500 100", "5500 100"},
        {"getSystemInfo", VENDOR, "\n", "true []", "true []", "true []"},
    };
}

void addFile(std::vector<HostileCase>& cases, File const& file, bool all)
{
    auto const add = [&](std::string const& hostility, std::string const& result,
                         std::function<Keeper()> const& make) {
        cases.push_back({file.query, file.path, hostility, result, all ? 10 * LIMIT : LIMIT, make});
    };
    std::string const path = file.path;
    std::string const line = file.line;
    add("a FIFO", file.empty, [=] { return replacedByFifo(path, false); });
    add("a FIFO with a silent writer", file.empty, [=] { return replacedByFifo(path, true); });
    add("a directory", file.empty, [=] { return replacedByDirectory(path); });
    add("a circle", file.unreadable, [=] { return replacedByCircle(path); });
    add("endless zeros", file.unreadable, [=] { return madeEndless(path, std::string(1, '\0')); });
    add("endless lines", file.unreadable, [=] { return madeEndless(path, line); });
    if (all || file.query != "getCurrentUsage") // Reads the line a hundred times.
        add("a line of 64 MiB", file.longLine, [=] { return madeOneLongLine(path, line); });
}

/** An INI file with a value of almost 64 MiB. */
void addLongValue(std::vector<HostileCase>& cases)
{
    cases.push_back({"getCloneInfo", RECOVERY_STATUS, "a value of 64 MiB", "5500 73", LIMIT, [] {
                         std::string text = "[Main]\nStatus=5000 ";
                         text.resize(size_t{64} << 20, 'x');
                         machine.file(RECOVERY_STATUS, text);
                         return Keeper();
                     }});
}

/** A tool, a query that runs it, and the tool's good output as a command for a shell. */
struct Tool {
    std::string query;
    std::string path;
    std::string good;
    std::string result;
    std::string noise; ///< A line that the query ignores.
    std::string unlimited; ///< The result of endless output.
};

std::vector<Tool> tools()
{
    return {
        {"getDisksInternal", "/sbin/pvdisplay", "echo /dev/mapper/vault:/dev/sda2:8", "true 2",
            "noise", "true 2"},
        {"getRootDevices", "/sbin/pvdisplay", "echo /dev/mapper/vault:/dev/sda2:8", "[sda2:]",
            "noise", "[]"},
        {"getNetworksInternal", "/sbin/ifconfig", "printf 'eth0:\n\nlo:\n'", "true 2 1",
            "    noise", "false 0 0"},
        {"getSystemInfo", "/sbin/ifconfig", "printf 'eth0:\n\nlo:\n'", "true [Acme]", "    noise",
            "true [Acme]"},
        {"getNetworksInternal", "/bin/cat", "echo nameserver 127.0.0.1", "true 2 1", "noise",
            "false 1 0"},
    };
}

void addTool(std::vector<HostileCase>& cases, Tool const& tool, bool all)
{
    auto const add = [&](std::string const& hostility, std::string const& script,
                         std::string const& result, double seconds = LIMIT) {
        cases.push_back({tool.query, tool.path, hostility, result, seconds, [=] {
                             machine.tool(tool.path, script);
                             return Keeper();
                         }});
    };
    std::string const nothing = tool.query == "getNetworksInternal"
        ? (tool.path == "/bin/cat" ? "true 2 0" : "true 0 0")
        : tool.unlimited;
    add("killed", "kill -9 $$", nothing);
    add("10 MiB of noise", "yes '" + tool.noise + "' | head -c 10485760; echo; " + tool.good,
        tool.result);
    add("endless lines", "exec yes '" + tool.noise + "'", tool.unlimited);
    add("an endless line", "yes '" + tool.noise + "' | tr -d '\n'", tool.unlimited);
    // Kept: popen(3) has no time-out. The hosts limit such a query.
    add("silent", "exec sleep 1000", HELD, all ? 10 : 0.5);
}

/** `route`, whose output is not kept in memory and so has a larger bound. */
void addRoute(std::vector<HostileCase>& cases, bool all)
{
    auto const add = [&](std::string const& hostility, std::string const& script,
                         std::string const& result, double seconds = LIMIT) {
        cases.push_back({"getNetworksInternal", "/sbin/route", hostility, result, seconds, [=] {
                             machine.tool("/sbin/route", script);
                             return Keeper();
                         }});
    };
    std::string const route = "0.0.0.0         192.0.2.1       0.0.0.0 UG 0 0 0 eth0";
    add("killed", "kill -9 $$", "true 2 1");
    add("10 MiB of noise", "yes '" + route + "' | head -c 10485760", "true 2 1");
    if (all)
        add("endless lines", "exec yes '" + route + "'", "false 1 0");
    add("silent", "exec sleep 1000", HELD, all ? 10 : 0.5);
}

/** Moves the clock a minute ahead when the query has read three lines. */
Keeper passedMinute()
{
    static int lines;
    lines = 0;
    dovrel::trace::setSink(
        [](void*, unsigned, char const*, dovrel::string const&) {
            if (++lines == 3)
                clockOffset = 60;
        },
        nullptr);
    dovrel::trace::setDetailLevel(5);
    return {nullptr, [](void*) { dovrel::trace::setDetailLevel(0); }};
}

void addFirmwareDump(std::vector<HostileCase>& cases, bool all)
{
    std::string const good = "printf 'Memory Device\n\\tSize: 2 GB\n'";
    std::string const notEnded = "throws 3";
    std::string const noise(100, 'n');
    auto const add = [&](
                         std::string const& hostility, std::string const& script,
                         std::string const& result, bool leavesTool = false, double seconds = LIMIT,
                         std::function<Keeper()> const& clock = [] { return Keeper(); }) {
        cases.push_back({"getMemoryInfo", "dmidecode", hostility, result, seconds,
            [=] {
                machine.tool("/usr/sbin/dmidecode", script);
                return clock();
            },
            leavesTool});
    };
    add("killed", "kill -9 $$", "true 1000 100");
    add("10 MiB of noise", "yes " + noise + " | head -c 10485760; echo; " + good,
        "true 2097152 100");
    add("endless lines", "exec yes " + noise, notEnded);
    add("an endless line", "yes noise | tr -d '\n'", notEnded);
    add("silent", "exec sleep 1000", notEnded, true);
    add("silent after its output", good + "; exec sleep 1000", notEnded, true);
    std::string const drip = "while :; do echo noise || exit; sleep 0.1; done";
    add("a line each 0.1 s, and the clock moves", drip, notEnded, false, LIMIT, passedMinute);
    if (all)
        add("a line each 0.1 s", drip, notEnded);
}

/** /etc/resolv.conf, which `cat` reads. */
void addResolverFile(std::vector<HostileCase>& cases, bool all)
{
    std::string const path = "/etc/resolv.conf";
    auto const add = [&](std::string const& hostility, std::string const& result, double seconds,
                         std::function<Keeper()> const& make) {
        cases.push_back({"getNetworksInternal", path, hostility, result, seconds, make});
    };
    add("a FIFO", HELD, all ? 10 : 0.5, [=] { return replacedByFifo(path, false); });
    add("a directory", "true 2 0", LIMIT, [=] { return replacedByDirectory(path); });
    add("a circle", "true 2 0", LIMIT, [=] { return replacedByCircle(path); });
    add("a line of 64 MiB", "true 2 0", LIMIT, [=] { return madeOneLongLine(path, "noise"); });
}

/** The folders of links to disks. */
void addFolders(std::vector<HostileCase>& cases, bool all)
{
    auto const endless = [] {
        foldersAreEndless = true;
        return Keeper();
    };
    cases.push_back(
        {"getPhysicalDisksInternal", "/dev/disk/by-id", "endless", "true 2", LIMIT, [=] {
             machine.remove("/dev/disk/by-id/ata-Acme_Disk_A1");
             machine.link("/dev/disk/by-id/ata-Acme_Disk_B1", "../../sdb");
             return endless();
         }});
    if (all)
        cases.push_back({"getRootDevices", "/dev/mapper", "endless", "throws filesystem_error",
            10 * LIMIT, [=] {
                machine.remove("/dev/mapper/vault-home");
                machine.link("/dev/mapper/other", "../sda");
                return endless();
            }});
}

/** Files that a process changes after their first piece was read. */
void addChanges(std::vector<HostileCase>& cases)
{
    struct Changed {
        std::string query;
        std::string path;
        std::string text;
        std::string truncated;
        std::string replaced;
        std::string grown;
    };
    for (Changed const& file : std::vector<Changed>{
             {"getCPUsInternal", "/proc/stat", "cpu0 1 2 3 4 5 6 7 8\n", "true 390", "true 1905",
                 "true 1906"},
             {"getPhysicalDisksInternal", "/proc/partitions", "8 0 1000 sda\n8 16 1000 sdb\n",
                 "true 302", "true 2963", "true 2965"},
             {"getDisksInternal", "/proc/mounts", "/dev/sda1 / ext4 rw 0 0\n", "true 1", "true 1",
                 "true 1"},
             {"getCloneInfo", RECOVERY_STATUS, "[Main]\nStatus=5000\n", "5500 73", "5500 73",
                 "5500 73"},
         }) {
        auto const add = [&](std::string const& hostility, std::string const& result,
                             std::function<void()> const& change) {
            cases.push_back({file.query, file.path, hostility, result, LIMIT,
                [path = file.path, text = file.text, change] {
                    return changedWhileRead(path, text, change);
                }});
        };
        std::string const path = file.path;
        std::string const text = file.text;
        add("truncated", file.truncated, [=] {
            if (::truncate(path.c_str(), 0) != 0)
                fail("truncate", path);
        });
        add("replaced", file.replaced, [=] { machine.file(path, "other"); });
        add("grown", file.grown, [=] { append(path, text); });
    }
}

}

std::vector<HostileCase> hostileCases(bool all)
{
    std::vector<HostileCase> cases;
    for (File const& file : files())
        addFile(cases, file, all);
    if (all)
        addLongValue(cases);
    addChanges(cases);
    addFolders(cases, all);
    addResolverFile(cases, all);
    addFirmwareDump(cases, all);
    addRoute(cases, all);
    for (Tool const& tool : tools())
        addTool(cases, tool, all);
    return cases;
}

}
