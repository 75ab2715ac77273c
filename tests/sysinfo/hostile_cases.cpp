// Every source of the queries, and what may be wrong with it.

#include "common/platform/trace.h"
#include "tests/support/Channel.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/HostileCase.h"
#include "tests/sysinfo/ReadCalls.h"
#include "tests/sysinfo/recovery_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>

namespace testkit {

namespace {

using Keeper = std::shared_ptr<void>;

constexpr double LIMIT = LONGEST_SECONDS;
constexpr char SPEED[] = "/sys/devices/system/cpu/cpu0/cpufreq/bios_limit";
constexpr char CURRENT_SPEED[] = "/sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq";
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

/** The file has @p text and changes after its first piece is read. */
Keeper changedWhileRead(
    std::string const& path, std::string const& text, std::function<void()> const& change)
{
    machine.file(path, text);
    auto calls = std::make_shared<ReadCalls>(path);
    calls->beforeSecondRead(change);
    return calls;
}

/** In which run a source is large, which takes a while. */
enum class Large {
    ALWAYS,
    IN_WHOLE_TABLE, ///< Where another row has the same code of the library.
    NEVER
};

/** A file that the library reads itself, a query that reads it, and the query's results. */
struct File {
    std::string query;
    std::string path;
    std::string line; ///< It may have it many times.
    std::string empty; ///< The result without data, as from a FIFO or a directory.
    std::string unreadable; ///< The result without the file, or if it has no end.
    std::string longLine; ///< The result for `line` and 64 MiB of zeros.
    Large large = Large::ALWAYS;
};

std::vector<File> files()
{
    std::string const kernels = "false 2097152 0"; // The total is that of the modules.
    return {
        {"getMemoryInfo", "/proc/meminfo", "Label: 1 kB\n", kernels, kernels, kernels},
        {"getCPUsInternal", "/proc/stat", "cpu0 1 2 3 4\n", "true 0", "false 0", "true 1"},
        {"getCurrentUsage", "/proc/stat", "cpu9 1 2 3 4\n", "nan", "0", "nan"},
        {"getMaxSpeedInMHZ", SPEED, "\n", "0", "0", "0"},
        {"getCurrentSpeedInMHZ", CURRENT_SPEED, "\n", "0", "0", "0", Large::IN_WHOLE_TABLE},
        {"getPhysicalDisksInternal", "/proc/partitions", "8 0 1 sda\n", "true 0", "false 0",
            "true 0"},
        {"getDisksInternal", "/proc/partitions", "8 0 1 sda\n", "true 2", "false 0", "true 2",
            Large::IN_WHOLE_TABLE},
        {"getDisksInternal", "/proc/mounts", "/dev/sda1 / ext4\n", "true 0", "false 0", "true 1"},
        {"getCloneInfo", RECOVERY_STATUS, "; a comment\n", "null", "null", "null"},
        {"getCloneInfo", RECOVERY_ANSWERS, "; a comment\n", "5000 73", "5000 73", "5000 73"},
        {"getCloneInfo", RECOVERY_PERCENT, "\n", "5500 100", "5500 100", "5500 100"},
        {"getSystemInfo", VENDOR, "\n", "true [ Box 1]", "true [ Box 1]", "true [ Box 1]"},
        {"getSystemInfo", "/sys/class/dmi/id/product_name", "\n", "true [Acme  1]",
            "true [Acme  1]", "true [Acme  1]", Large::IN_WHOLE_TABLE},
        {"getSystemInfo", "/sys/class/dmi/id/product_version", "\n", "true [Acme Box ]",
            "true [Acme Box ]", "true [Acme Box ]", Large::IN_WHOLE_TABLE},
        {"getSystemInfo", "/sys/class/dmi/id/chassis_asset_tag", "\n", "true [Acme Box 1]",
            "true [Acme Box 1]", "true [Acme Box 1]", Large::IN_WHOLE_TABLE},
        // Opened and not read.
        {"getPhysicalDisksInternal", "/dev/sda", "", "true 2", "true 2", "", Large::NEVER},
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
    if (file.large == Large::NEVER || (file.large == Large::IN_WHOLE_TABLE && !all))
        return;
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
    Large large = Large::ALWAYS;
};

std::vector<Tool> tools()
{
    return {
        {"getDisksInternal", "/sbin/pvdisplay", "echo /dev/mapper/vault:/dev/sda2:8", "true 2",
            "noise", "true 2", Large::IN_WHOLE_TABLE},
        {"getRootDevices", "/sbin/pvdisplay", "echo /dev/mapper/vault:/dev/sda2:8", "[sda2:]",
            "noise", "[]"},
        {"getNetworksInternal", "/sbin/ifconfig", "printf 'eth0:\n\nlo:\n'", "true 2 1",
            "    noise", "false 0 0"},
        {"getSystemInfo", "/sbin/ifconfig", "printf 'eth0:\n\nlo:\n'", "true [Acme Box 1]",
            "    noise", "true [Acme Box 1]", Large::IN_WHOLE_TABLE},
        {"getNetworksInternal", "/bin/cat", "echo nameserver 127.0.0.1", "true 2 1", "noise",
            "false 1 0"},
    };
}

void addTool(std::vector<HostileCase>& cases, Tool const& tool, bool all)
{
    auto const add = [&](std::string const& hostility, std::string const& script,
                         std::string const& result) {
        cases.push_back({tool.query, tool.path, hostility, result, LIMIT, [=] {
                             machine.tool(tool.path, script);
                             return Keeper();
                         }});
    };
    std::string const nothing = tool.query == "getNetworksInternal"
        ? (tool.path == "/bin/cat" ? "true 2 0" : "true 0 0")
        : tool.unlimited;
    add("killed", "kill -9 $$", nothing);
    add("endless lines", "exec yes '" + tool.noise + "'", tool.unlimited);
    if (all || tool.large == Large::ALWAYS) {
        add("10 MiB of noise", "yes '" + tool.noise + "' | head -c 10485760; echo; " + tool.good,
            tool.result);
        add("an endless line", "yes '" + tool.noise + "' | tr -d '\n'", tool.unlimited);
    }
    // Kept: popen(3) has no time-out. The hosts limit such a query.
    add("silent", "exec sleep 1000", HELD);
}

/** Tools of a host that ignores SIGPIPE, which they inherit. */
void addIgnoredSignal(std::vector<HostileCase>& cases)
{
    auto const add = [&](std::string const& hostility, std::string const& script,
                         std::string const& result) {
        cases.push_back({"getNetworksInternal", "/sbin/ifconfig", hostility, result, LIMIT, [=] {
                             machine.tool("/sbin/ifconfig", "exec 2>/dev/null; " + script);
                             ::signal(SIGPIPE, SIG_IGN);
                             return Keeper(nullptr, [](void*) { ::signal(SIGPIPE, SIG_DFL); });
                         }});
    };
    add("endless lines, SIGPIPE is ignored", "exec yes noise", "false 0 0"); // Ends at the error.
    // Its `echo` fails and it goes on, while the library waits in pclose(3).
    add("a loop of echo, SIGPIPE is ignored",
        "line=$(printf %100000d 1); while :; do echo \"$line\"; done", HELD);
}

/** `route`, whose output is not kept in memory and so has a larger bound. */
void addRoute(std::vector<HostileCase>& cases, bool all)
{
    auto const add = [&](std::string const& hostility, std::string const& script,
                         std::string const& result) {
        cases.push_back({"getNetworksInternal", "/sbin/route", hostility, result, LIMIT, [=] {
                             machine.tool("/sbin/route", script);
                             return Keeper();
                         }});
    };
    std::string const route = "0.0.0.0         192.0.2.1       0.0.0.0 UG 0 0 0 eth0";
    add("killed", "kill -9 $$", "true 2 1");
    add("10 MiB of noise", "yes '" + route + "' | head -c 10485760", "true 2 1");
    if (all)
        add("endless lines", "exec yes '" + route + "'", "false 1 0");
    add("silent", "exec sleep 1000", HELD);
    // The bounds are those of grep's output: it drops these lines, and keeps that line in memory.
    add("endless lines without the adapter", "exec yes 0.0.0.0", HELD);
    add("an endless line", "while :; do printf %1000000d 1; sleep 0.1; done", HELD);
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
                         std::string const& result, bool leavesTool = false,
                         std::function<Keeper()> const& clock = [] { return Keeper(); }) {
        cases.push_back({"getMemoryInfo", "dmidecode", hostility, result, LIMIT,
            [=] {
                machine.tool("/usr/sbin/dmidecode", script);
                return clock();
            },
            leavesTool});
    };
    add("killed", "kill -9 $$", "true 1000 100");
    // The pause ends a piece of the output: a size line that is cut by the end of one does not
    // count.
    add("10 MiB of noise", "yes " + noise + " | head -c 10485760; echo; sleep 1; " + good,
        "true 2097152 100");
    add("endless lines", "exec yes " + noise, notEnded);
    add("an endless line", "yes noise | tr -d '\n'", notEnded);
    add("silent", "exec sleep 1000", notEnded, true);
    add("silent after its output", good + "; exec sleep 1000", notEnded, true);
    std::string const drip = "while :; do echo noise || exit; sleep 0.1; done";
    add("a line each 0.1 s, and the clock moves", drip, notEnded, false, passedMinute);
    if (all)
        add("a line each 0.1 s", drip, notEnded);
}

/** Files that a tool or the C library reads for the query, without O_NONBLOCK. */
void addForeignFiles(std::vector<HostileCase>& cases)
{
    auto const add = [&](std::string const& query, std::string const& path,
                         std::string const& unreadable) {
        auto const addOne = [&](std::string const& hostility, std::string const& result,
                                std::function<Keeper()> const& make) {
            cases.push_back({query, path, hostility, result, LIMIT, make});
        };
        addOne("a FIFO", HELD, [=] { return replacedByFifo(path, false); });
        addOne("a FIFO with a silent writer", HELD, [=] { return replacedByFifo(path, true); });
        addOne("a directory", unreadable, [=] { return replacedByDirectory(path); });
        addOne("a circle", unreadable, [=] { return replacedByCircle(path); });
        addOne("a line of 64 MiB", unreadable, [=] { return madeOneLongLine(path, "noise"); });
    };
    add("getNetworksInternal", "/etc/resolv.conf", "true 2 0"); // `cat`
    add("getCloneInfo", "/etc/localtime", "5500 73"); // mktime(3)
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
        std::string more; ///< The file grows by it.
        std::string truncated;
        std::string replaced; ///< As without the change: the library has opened the former file.
        std::string grown;
    };
    auto const many = [](std::string const& line) {
        std::string all;
        while (all.size() < 40'000)
            all += line;
        return all;
    };
    std::string const cpu = "cpu0 1 2 3 4 5 6 7 8\n";
    std::string const partitions = "8 0 1000 sda\n8 16 1000 sdb\n";
    std::string const comment = "; a comment\n";
    for (Changed const& file :
        std::vector<Changed>{
            {"getMemoryInfo", "/proc/meminfo", many("Label: 1 kB\n") + "MemTotal: 9 kB\nMemFree: 7",
                "1 kB\n", "false 2097152 0", "true 2097152 7", "true 2097152 71"},
            {"getCPUsInternal", "/proc/stat", many(cpu), cpu, "true 390", "true 1905", "true 1906"},
            {"getMaxSpeedInMHZ", SPEED, many("\n") + "240000", "0\n", "0", "240", "2400"},
            {"getPhysicalDisksInternal", "/proc/partitions", many(partitions), partitions,
                "true 302", "true 2963", "true 2965"},
            {"getDisksInternal", "/proc/mounts",
                many("/dev/sda1 / ext4 rw 0 0\n") + "/dev/sda1 /a ext4 rw 0 0\n",
                "/dev/sda1 /b ext4 rw 0 0\n", "true 1", "true 2", "true 3"},
            {"getCloneInfo", RECOVERY_STATUS, many(comment) + "[Main]\nStatus=500", "0\n", "null",
                "500 0", "5500 73"},
            {"getCloneInfo", RECOVERY_ANSWERS, many(comment) + "[AdvancedOptions]\nFinalSync=1\n",
                comment, "5000 73", "5500 73", "5500 73"},
            {"getCloneInfo", RECOVERY_PERCENT, many("\n") + "4", "2\n", "5500 100", "5500 4",
                "5500 42"},
            // Less than the page that the library reads at once.
            {"getSystemInfo", VENDOR, "Ac", "me\n", "true [Ac Box 1]", "true [Ac Box 1]",
                "true [Acme Box 1]"},
        }) {
        auto const add = [&](std::string const& hostility, std::string const& result,
                             std::function<void()> const& change) {
            cases.push_back({file.query, file.path, hostility, result, LIMIT,
                [path = file.path, text = file.text, change] {
                    return changedWhileRead(path, text, change);
                }});
        };
        std::string const path = file.path;
        std::string const more = file.more;
        add("truncated", file.truncated, [=] {
            if (::truncate(path.c_str(), 0) != 0)
                fail("truncate", path);
        });
        add("replaced", file.replaced, [=] { machine.file(path, "other"); });
        add("grown", file.grown, [=] { append(path, more); });
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
    addForeignFiles(cases);
    addFirmwareDump(cases, all);
    addRoute(cases, all);
    for (Tool const& tool : tools())
        addTool(cases, tool, all);
    addIgnoredSignal(cases);
    for (HostileCase& hostile : cases)
        if (hostile.result == HELD)
            hostile.seconds = all ? 10 : 0.3;
    return cases;
}

}
