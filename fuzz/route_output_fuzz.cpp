// The gateways in the output of `route -n` agree with the reference parser. A shell passes each
// line, used as an adapter's name, unchanged to grep.

#include "fuzz/expect.h"
#include "fuzz/fixed_columns.h"
#include "sysinfo/parsers/route_output.h"
#include "tests/reference/route_output.h"
#include "tests/reference/text.h"

#include <cstdint>

using fuzz::expect;

namespace {

using Words = std::vector<std::string>;

/** Removes quotes as a shell does. @return the words; nothing when a character outside of quotes
 * has a meaning to a shell. */
std::optional<Words> wordsOfShell(std::string const& line)
{
    Words words(1);
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
    return quoted ? std::nullopt : std::optional<Words>(words);
}

std::optional<Words> expectedGateways(std::string const& text)
{
    auto const routes = reference::readRoutes(text);
    if (!routes)
        return std::nullopt;
    Words gateways;
    for (reference::Route const& route : *routes)
        gateways.push_back(route.gateway);
    return gateways;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    expect(fuzz::stringsIn(text, sysinfo::readGateways) == expectedGateways(text));
    for (std::string const& line : reference::lines(text)) {
        std::string const name =
            line.substr(0, line.find('\0')); // A command line has no zero byte.
        auto const words = wordsOfShell(sysinfo::grepArgument(name));
        expect(words.has_value());
        bool const isWord = *words == Words{name} && name[0] != '-';
        expect((isWord && !name.empty()) || *words == Words({"-F", "-e", name}));
    }
    return 0;
}
