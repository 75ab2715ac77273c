// The name servers of resolv.conf agree with the reference parser.

#include "fuzz/expect.h"
#include "fuzz/fixed_columns.h"
#include "sysinfo/parsers/resolv_conf.h"
#include "tests/reference/resolv_conf.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    fuzz::expect(fuzz::stringsIn(text, sysinfo::readNameServers) == reference::readServers(text));
    return 0;
}
