#include "bench/fake_proc.h"
#include "bench/private_mounts.h"

#include <string>

namespace bench {

namespace {

// Most interrupt lines of a machine are unused, so the line is long and mostly zeros.
constexpr unsigned INTERRUPT_LINES = 1024;

std::string processorLine(unsigned index)
{
    // Ticks of some weeks, different for each processor.
    unsigned const busy = 1000000 + index * 977 % 500000;
    return "cpu" + std::to_string(index) + ' ' + std::to_string(busy) + " 2290 "
        + std::to_string(busy / 3) + " 226255" + std::to_string(10 + index % 90) + " 6290 0 "
        + std::to_string(4438 + index) + " 0 0 0\n";
}

}

void replaceProc()
{
    enterPrivateMounts();
    emptyFolder("/proc");
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
