// The texts of the network tools: adapters, gateways and name servers are those that a second
// reader takes off the text by hand, and whatever an adapter is called, a shell hands just that to
// grep.

#include "sysinfo/network_text.h"
#include "tests/sysinfo/pieces.h"

#include <cstdlib>
#include <optional>
#include <sstream>
#include <stdexcept>

namespace {

using Texts = std::vector<std::string>;

void expect(bool holds)
{
    if (!holds)
        std::abort();
}

Texts split(std::string const& text, std::string const& separators)
{
    Texts parts(1);
    for (char const c : text)
        if (separators.find(c) != std::string::npos)
            parts.emplace_back();
        else
            parts.back() += c;
    return parts;
}

Texts linesOf(std::string const& text)
{
    Texts lines = split(text, "\n");
    if (lines.back().empty())
        lines.pop_back();
    return lines;
}

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

/** @return what the lines with @p label have behind @p column, up to the first @p end; nothing
 * where one has no such column. */
std::optional<Texts> behindColumn(
    std::string const& text, std::string const& label, size_t column, std::string const& end)
{
    Texts all;
    for (std::string const& line : linesOf(text)) {
        bool const isHeading =
            column == 16 && std::string("Destinao").find(line[0]) != std::string::npos;
        if (line.find(label) == std::string::npos || isHeading)
            continue;
        if (line.size() < column)
            return std::nullopt;
        all.push_back(split(line.substr(column), end).front());
    }
    return all;
}

template <class Reader> std::optional<Texts> textsBy(Reader reader, std::string const& text)
{
    std::istringstream stream(text);
    Texts all;
    try {
        reader(stream, [&](std::string const& found) { all.push_back(found); });
    } catch (std::out_of_range const&) {
        return std::nullopt;
    }
    return all;
}

/** Takes quotes off as a shell does. @return the words; nothing where a character that means
 * something to a shell stands outside of quotes. */
std::optional<Texts> wordsOfShell(std::string const& line)
{
    Texts words(1);
    bool quoted = false;
    for (size_t i = 0; i < line.size(); ++i) {
        char const c = line[i];
        bool const isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z')
            || (c >= 'a' && c <= 'z') || c == '.' || c == '_' || c == '-' || c == '@' || c == '+';
        if (c == '\'')
            quoted = !quoted;
        else if (quoted || isPlain)
            words.back() += c;
        else if (c == ' ')
            words.emplace_back();
        else if (c == '\\' && i + 1 < line.size())
            words.back() += line[++i];
        else
            return std::nullopt;
    }
    return quoted ? std::nullopt : std::optional<Texts>(words);
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

    expect(textsBy(sysinfo::readGateways, text) == behindColumn(text, "UG", 16, " "));
    expect(textsBy(sysinfo::readNameServers, text) == behindColumn(text, "nameserver", 11, ""));

    for (std::string const& name : expected.found) {
        auto const words = wordsOfShell(sysinfo::grepArgument(name));
        expect(words.has_value());
        bool const isWord = *words == Texts{name} && name[0] != '-';
        expect(isWord || *words == Texts({"-F", "-e", name}));
    }
    return 0;
}
