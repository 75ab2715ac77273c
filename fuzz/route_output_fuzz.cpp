// The gateways are those that a reference reader takes off the text by hand; and for each line as
// an adapter's name, a shell hands just that name to grep.

#include "fuzz/naive_columns.h"
#include "sysinfo/parsers/route_output.h"

#include <cstdint>

using fuzz::expect;
using fuzz::Texts;

namespace {

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
    expect(fuzz::textsBy(sysinfo::readGateways, text) == fuzz::behindColumn(text, "UG", 16, " "));
    for (std::string const& line : fuzz::linesOf(text)) {
        std::string const name = line.substr(0, line.find('\0')); // As names of a command line are.
        auto const words = wordsOfShell(sysinfo::grepArgument(name));
        expect(words.has_value());
        bool const isWord = *words == Texts{name} && name[0] != '-';
        expect((isWord && !name.empty()) || *words == Texts({"-F", "-e", name}));
    }
    return 0;
}
