// The name servers are those that a reference reader takes off the text by hand.

#include "fuzz/naive_columns.h"
#include "sysinfo/parsers/resolv_conf.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    fuzz::expect(fuzz::textsBy(sysinfo::readNameServers, text)
        == fuzz::behindColumn(text, "nameserver", 11, ""));
    return 0;
}
