#include "sysinfo/proc_meminfo.h"

#include <string>

namespace sysinfo {

KernelMemory readKernelMemory(std::istream& text)
{
    KernelMemory memory;
    std::string label;
    std::string unit;
    uint64_t number = 0;
    while (!(memory.total && memory.free) && text >> label >> number) {
        if (label == "MemTotal:")
            memory.total = number;
        else if (label == "MemFree:")
            memory.free = number;
        text >> unit;
    }
    return memory;
}

}
