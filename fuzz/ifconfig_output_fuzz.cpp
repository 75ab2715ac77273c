// The adapters agree with the reference parser, also when the text arrives in pieces.

#include "fuzz/expect.h"
#include "sysinfo/parsers/ifconfig_output.h"
#include "tests/reference/ifconfig_output.h"
#include "tests/sysinfo/PiecewiseBuffer.h"

#include <cstdint>
#include <sstream>

namespace {

void expectAdapters(std::istream& stream, reference::AdapterTable const& expected)
{
    reference::AdapterTable found;
    auto const add = [&](sysinfo::AdapterText const& block) {
        found.blocks.push_back(
            {block.name, block.addresses, block.netmasks, block.hardwareAddresses});
    };
    add(sysinfo::readAdapters(
        stream, [&](std::string const& name) { found.names.push_back(name); }, add));
    fuzz::expect(found.names == expected.names && found.blocks == expected.blocks);
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    reference::AdapterTable const expected = reference::readAdapters(text);
    std::istringstream whole(text);
    expectAdapters(whole, expected);
    testkit::PiecewiseBuffer buffer(text, 3);
    std::istream pipe(&buffer);
    expectAdapters(pipe, expected);
    return 0;
}
