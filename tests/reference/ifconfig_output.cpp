#include "tests/reference/ifconfig_output.h"

#include "tests/reference/text.h"

#include <algorithm>

namespace reference {

namespace {

/** @return @p line without "addr:", and "Mask " for each "Mask:". */
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

}

std::array<uint8_t, 8> Adapter::mac() const
{
    std::array<uint8_t, 8> bytes{};
    if (hardwareAddresses.empty())
        return bytes;
    std::vector<std::string> const pairs = split(hardwareAddresses.back(), ":-");
    for (std::string const& pair : pairs)
        if (pair.size() != 2
            || pair.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
            return bytes;
    if (pairs.size() == 6 || pairs.size() >= bytes.size())
        for (size_t i = 0; i < std::min(pairs.size(), bytes.size()); ++i)
            bytes[i] = static_cast<uint8_t>(std::stoul(pairs[i], nullptr, 16));
    return bytes;
}

std::vector<Adapter> AdapterTable::named() const
{
    std::vector<Adapter> adapters;
    for (Adapter const& block : blocks)
        if (!block.name.empty())
            adapters.push_back(block);
    return adapters;
}

AdapterTable readAdapters(std::string const& output)
{
    AdapterTable table;
    table.blocks.emplace_back();
    for (std::string const& line : lines(output)) {
        std::string const field = split(line, " \t\r\n\v:").front();
        if (!field.empty()) {
            std::string const name = field.substr(0, field.find('\0'));
            table.names.push_back(name);
            if (table.blocks.back().name.empty())
                table.blocks.pop_back();
            table.blocks.emplace_back();
            table.blocks.back().name = name;
        }
        Adapter& block = table.blocks.back();
        std::vector<std::string> const words = split(withoutPrefixes(line), " \t\n\r/");
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
    return table;
}

}
