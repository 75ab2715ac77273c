// /proc/stat: the count agrees with a second, naive reader, and no text whatever breaks either
// parser.

#include "sysinfo/parsers/proc_stat.h"

#include <cstdlib>
#include <sstream>

namespace {

uint32_t countNaively(std::string const& text)
{
    std::istringstream words(text);
    words.imbue(std::locale::classic());
    uint32_t count = 0;
    for (std::string word; words >> word;)
        count += word.starts_with("cpu") && word.back() >= '0' && word.back() <= '9';
    return count;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    uint32_t calls = 0;
    uint32_t const count = sysinfo::countProcessors(stream, [&](std::string const&) { ++calls; });
    if (count != calls || count != countNaively(text))
        std::abort();

    std::istringstream again(text);
    sysinfo::ProcessorCounters counters{1, 2};
    bool const found = sysinfo::findProcessorCounters(again, "cpu1", counters);
    if (!found && (counters.idle != 1 || counters.busy != 2))
        std::abort();
    return 0;
}
