// pvdisplay -c: the devices are those that a second reader cuts out by hand.

#include "sysinfo/parsers/pvdisplay_output.h"

#include <cstdlib>
#include <sstream>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

Texts devicesByHand(std::string const& text, std::string const& key)
{
    Texts devices;
    std::string field;
    Texts fields;
    auto const endLine = [&] {
        if (fields.size() >= 2 && fields[0] == key + ":")
            devices.push_back(fields[1]);
        field.clear();
        fields.clear();
    };
    for (char const c : text) {
        if (c == '\n') {
            endLine();
            continue;
        }
        field += c;
        if (c == ':') {
            fields.push_back(field);
            field.clear();
        }
    }
    endLine();
    return devices;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    for (std::string const key : {"/dev/mapper/vg", "", "a"}) {
        std::istringstream stream(text);
        Texts devices;
        sysinfo::readPhysicalVolumes(
            stream, key, [&](std::string const& device) { devices.push_back(device); });
        if (devices != devicesByHand(text, key))
            std::abort();
    }
    return 0;
}
