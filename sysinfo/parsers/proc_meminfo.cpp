#include "sysinfo/parsers/proc_meminfo.h"

#include <string>

namespace sysinfo {

bool readKernelMemory(
    std::istream& text, std::function<void(KernelFigure figure, uint64_t kib)> const& found)
{
    bool hasTotal = false;
    bool hasFree = false;
    std::string label;
    std::string unit;
    uint64_t number = 0;
    while (!(hasTotal && hasFree) && text >> label >> number) {
        if (label == "MemTotal:") {
            hasTotal = true;
            found(KernelFigure::TOTAL, number);
        } else if (label == "MemFree:") {
            hasFree = true;
            found(KernelFigure::FREE, number);
        }
        text >> unit;
    }
    return hasTotal && hasFree;
}

}
