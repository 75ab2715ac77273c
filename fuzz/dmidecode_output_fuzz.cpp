// The sum and the counts agree with the reference parser. In pieces of any size, as from a pipe,
// the counts are consistent.

#include "fuzz/expect.h"
#include "sysinfo/parsers/dmidecode_output.h"
#include "tests/reference/dmidecode_output.h"
#include "tests/sysinfo/CountingListener.h"
#include "tests/sysinfo/PiecewiseBuffer.h"

#include <sstream>

using fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    reference::MemoryModules const expected = reference::readModules(text);
    std::istringstream stream(text);
    testkit::CountingListener whole;
    expect(sysinfo::sumOfModules(stream, whole) == expected.sum);
    expect(whole.sections == expected.sections);
    expect(whole.sizeLines == expected.count + expected.withoutSize);
    expect(whole.ignored == expected.withoutSize);
    expect(whole.seeksFailed == 0);

    for (size_t pieceSize : {size_t{1}, size_t{16}, size_t{255}}) {
        testkit::PiecewiseBuffer buffer(text, pieceSize);
        std::istream pipe(&buffer);
        testkit::CountingListener counts;
        uint64_t const sum = sysinfo::sumOfModules(pipe, counts);
        expect(counts.ignored <= counts.sizeLines && counts.seeksFailed <= counts.ignored);
        expect(counts.ignored < counts.sizeLines || sum == 0);
    }
    return 0;
}
