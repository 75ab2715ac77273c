// The figures of /proc/meminfo, and their order, agree with the reference parser.

#include "fuzz/expect.h"
#include "sysinfo/parsers/proc_meminfo.h"
#include "tests/reference/proc_meminfo.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    reference::KernelMemory found;
    bool const complete =
        sysinfo::readKernelMemory(stream, [&](sysinfo::KernelFigure figure, uint64_t kib) {
            bool const isTotal = figure == sysinfo::KernelFigure::TOTAL;
            found.lines.emplace_back(isTotal ? "MemTotal:" : "MemFree:", kib);
        });
    reference::KernelMemory const expected = reference::readMeminfo(text);
    fuzz::expect(found.lines == expected.lines);
    fuzz::expect(complete == (expected.total() && expected.free()));
    return 0;
}
