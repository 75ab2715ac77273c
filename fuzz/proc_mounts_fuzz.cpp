// The mounts of /proc/mounts agree with the reference parser.

#include "fuzz/expect.h"
#include "sysinfo/parsers/proc_mounts.h"
#include "tests/reference/proc_mounts.h"

#include <cstdint>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    fuzz::expect(sysinfo::readMounts(stream) == reference::readMounts(text).devices);
    return 0;
}
