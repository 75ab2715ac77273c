// The adapters are those that a reference reader takes off the text by hand.

#include "fuzz/naive_columns.h"
#include "sysinfo/parsers/ifconfig_output.h"
#include "tests/sysinfo/pieces.h"

#include <cstdint>

using fuzz::expect;
using fuzz::linesOf;
using fuzz::split;
using fuzz::Texts;

namespace {

std::string withoutPrefixes(std::string const& line)
{
    std::string text;
    for (size_t i = 0; i < line.size();) {
        if (line.compare(i, 5, "addr:") == 0) {
            i += 5;
        } else {
            text += line[i++];
        }
    }
    for (size_t i = 4; i < text.size(); ++i)
        if (text.compare(i - 4, 5, "Mask:") == 0)
            text[i] = ' ';
    return text;
}

struct Adapters {
    Texts found;
    std::vector<sysinfo::AdapterText> blocks; // The last one too, whoever's it is.
};

Adapters adaptersByHand(std::string const& text)
{
    Adapters adapters;
    adapters.blocks.emplace_back();
    for (std::string const& line : linesOf(text)) {
        std::string const field = split(line, " \t\r\n\v:").front();
        if (!field.empty()) {
            std::string const name = field.substr(0, field.find('\0'));
            adapters.found.push_back(name);
            if (adapters.blocks.back().name.empty())
                adapters.blocks.pop_back();
            adapters.blocks.emplace_back();
            adapters.blocks.back().name = name;
        }
        sysinfo::AdapterText& block = adapters.blocks.back();
        Texts const words = split(withoutPrefixes(line), " \t\n\r/");
        for (size_t i = 1; i < words.size(); ++i) {
            std::string const& keyword = words[i - 1];
            if (keyword == "inet" || keyword == "inet6")
                block.addresses.push_back(words[i]);
            if (keyword == "netmask" || keyword == "Mask")
                block.netmasks.push_back(words[i]);
            if (keyword == "ether" || keyword == "HWaddr")
                block.hardwareAddresses.push_back(words[i]);
        }
    }
    return adapters;
}

Adapters adaptersIn(std::istream& stream)
{
    Adapters adapters;
    adapters.blocks.push_back(sysinfo::readAdapters(
        stream, [&](std::string const& name) { adapters.found.push_back(name); },
        [&](sysinfo::AdapterText const& block) { adapters.blocks.push_back(block); }));
    return adapters;
}

void expectSame(Adapters const& a, Adapters const& b)
{
    expect(a.found == b.found && a.blocks.size() == b.blocks.size());
    for (size_t i = 0; i < a.blocks.size(); ++i)
        expect(a.blocks[i].name == b.blocks[i].name
            && a.blocks[i].addresses == b.blocks[i].addresses
            && a.blocks[i].netmasks == b.blocks[i].netmasks
            && a.blocks[i].hardwareAddresses == b.blocks[i].hardwareAddresses);
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    Adapters const expected = adaptersByHand(text);
    std::istringstream whole(text);
    expectSame(adaptersIn(whole), expected);
    testkit::Pieces pieces(text, 3);
    std::istream pipe(&pieces);
    expectSame(adaptersIn(pipe), expected);
    return 0;
}
