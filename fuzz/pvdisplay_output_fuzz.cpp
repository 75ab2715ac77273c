// The devices of a volume group in the output of `pvdisplay -c` agree with the reference parser.

#include "fuzz/expect.h"
#include "sysinfo/parsers/pvdisplay_output.h"
#include "tests/reference/pvdisplay_output.h"

#include <cstdint>
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    for (std::string const key : {"/dev/mapper/vg", "", "a"}) {
        std::istringstream stream(text);
        std::vector<std::string> devices;
        sysinfo::readPhysicalVolumes(
            stream, key, [&](std::string const& device) { devices.push_back(device); });
        std::vector<std::string> expected;
        for (auto const& [first, second] : reference::readVolumes(text))
            if (first == key)
                expected.push_back(second + ':');
        fuzz::expect(devices == expected);
    }
    return 0;
}
