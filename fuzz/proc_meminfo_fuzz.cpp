// /proc/meminfo: the figures are those that a second reader takes off the text by hand.

#include "fuzz/naive_fields.h"
#include "sysinfo/parsers/proc_meminfo.h"

#include <cstdlib>
#include <sstream>
#include <utility>
#include <vector>

namespace {

/** What was met, in order. */
using Figures = std::vector<std::pair<sysinfo::KernelFigure, uint64_t>>;

Figures readNaively(std::string const& text)
{
    Figures figures;
    bool hasTotal = false;
    bool hasFree = false;
    NaiveFields fields(text);
    std::string word;
    uint64_t number = 0;
    while (!(hasTotal && hasFree)) {
        if (!fields.word(word) || !fields.number(number))
            break;
        if (word == "MemTotal:") {
            hasTotal = true;
            figures.emplace_back(sysinfo::KernelFigure::TOTAL, number);
        }
        if (word == "MemFree:") {
            hasFree = true;
            figures.emplace_back(sysinfo::KernelFigure::FREE, number);
        }
        if (!fields.word(word))
            break;
    }
    return figures;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    Figures figures;
    sysinfo::readKernelMemory(stream,
        [&](sysinfo::KernelFigure figure, uint64_t kib) { figures.emplace_back(figure, kib); });
    if (figures != readNaively(text))
        std::abort();
    return 0;
}
