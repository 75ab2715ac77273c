#include "tests/reference/proc_meminfo.h"

#include "tests/reference/text.h"

namespace reference {

std::optional<uint64_t> KernelMemory::last(std::string const& label) const
{
    std::optional<uint64_t> found;
    for (auto const& [name, kib] : lines)
        if (name == label)
            found = kib;
    return found;
}

KernelMemory readMeminfo(std::string const& text)
{
    KernelMemory memory;
    Fields fields(text);
    std::string label;
    std::string unit;
    uint64_t number = 0;
    while (!(memory.total() && memory.free())) {
        if (!fields.word(label) || !fields.number(number))
            break;
        if (label == "MemTotal:" || label == "MemFree:")
            memory.lines.emplace_back(label, number);
        if (!fields.word(unit))
            break;
    }
    return memory;
}

}
