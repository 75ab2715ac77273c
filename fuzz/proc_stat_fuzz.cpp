// The processors of /proc/stat and their counters agree with the reference parser.

#include "fuzz/expect.h"
#include "sysinfo/parsers/proc_stat.h"
#include "tests/reference/proc_stat.h"

#include <sstream>
#include <string>
#include <vector>

using fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    std::vector<std::string> words;
    uint32_t const count =
        sysinfo::countProcessors(stream, [&](std::string const& word) { words.push_back(word); });
    expect(count == words.size() && words == reference::processorWords(text));

    for (char const* label : {"cpu", "cpu1"}) {
        std::istringstream again(text);
        reference::Counters const before{1, 2};
        sysinfo::ProcessorCounters counters{before.idle, before.busy};
        bool const found = sysinfo::findProcessorCounters(again, label, counters);
        auto const expected = reference::findCounters(text, label);
        expect(found == expected.has_value());
        expect(reference::Counters{counters.idle, counters.busy} == expected.value_or(before));
    }
    return 0;
}
