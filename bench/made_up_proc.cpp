#include "bench/made_up_proc.h"

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

namespace bench {

namespace {

// A machine has many more interrupt lines than busy ones, so that line is long and mostly zeros.
constexpr unsigned INTERRUPT_LINES = 1024;

[[noreturn]] void failed(char const* call)
{
    throw std::system_error(errno, std::generic_category(), call);
}

void writeText(char const* path, std::string const& text)
{
    std::ofstream file(path);
    if (!(file << text << std::flush))
        throw std::runtime_error(std::string("cannot write ") + path);
}

/** A user namespace without a map has no user who could own a file. */
void becomeRootOfOwnNamespace(uid_t user, gid_t group)
{
    writeText("/proc/self/setgroups", "deny");
    writeText("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    writeText("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

std::string processorLine(unsigned index)
{
    // Ticks of a machine that is up for some weeks, each processor with figures of its own.
    unsigned const busy = 1000000 + index * 977 % 500000;
    return "cpu" + std::to_string(index) + ' ' + std::to_string(busy) + " 2290 "
        + std::to_string(busy / 3) + " 226255" + std::to_string(10 + index % 90) + " 6290 0 "
        + std::to_string(4438 + index) + " 0 0 0\n";
}

}

void replaceProc()
{
    uid_t const user = geteuid();
    gid_t const group = getegid();
    if (unshare(CLONE_NEWNS) != 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
            failed("unshare");
        becomeRootOfOwnNamespace(user, group);
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        failed("mount /");
    if (mount("tmpfs", "/proc", "tmpfs", 0, nullptr) != 0)
        failed("mount /proc");
}

void writeProcStat(unsigned processors)
{
    std::string text = "cpu  10132153 290696 3084719 46828483 16683 0 25195 0 175628 0\n";
    for (unsigned i = 0; i < processors; ++i)
        text += processorLine(i);
    text += "intr 199292634";
    for (unsigned i = 0; i < INTERRUPT_LINES; ++i)
        text += i % 16 == 0 ? ' ' + std::to_string(i * 131) : std::string(" 0");
    text += "\nctxt 383321573\nbtime 1418183276\nprocesses 986327\nprocs_running 2\n"
            "procs_blocked 0\n"
            "softirq 100123456 12 40123456 1234 5678901 234567 0 345678 20123456 0 33456789\n";
    writeText("/proc/stat", text);
}

}
