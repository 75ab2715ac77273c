// /proc/meminfo: the figures are those that a second reader takes off the text by hand.

#include "fuzz/naive_fields.h"
#include "sysinfo/proc_meminfo.h"

#include <cstdlib>
#include <sstream>

namespace {

sysinfo::KernelMemory readNaively(std::string const& text)
{
    sysinfo::KernelMemory memory;
    NaiveFields fields(text);
    std::string word;
    uint64_t number = 0;
    while (!(memory.total && memory.free)) {
        if (!fields.word(word) || !fields.number(number))
            break;
        if (word == "MemTotal:")
            memory.total = number;
        if (word == "MemFree:")
            memory.free = number;
        if (!fields.word(word))
            break;
    }
    return memory;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    sysinfo::KernelMemory const memory = sysinfo::readKernelMemory(stream);
    sysinfo::KernelMemory const expected = readNaively(text);
    if (memory.total != expected.total || memory.free != expected.free)
        std::abort();
    return 0;
}
