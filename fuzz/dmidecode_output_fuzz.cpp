// A firmware dump: the sum is the one that a second reader takes off the text by hand, and in
// pieces of any size as a pipe gives them no text breaks the parser.

#include "fuzz/naive_fields.h"
#include "sysinfo/parsers/dmidecode_output.h"
#include "tests/sysinfo/pieces.h"

#include <cstdlib>
#include <sstream>

namespace {

class Deaf final : public sysinfo::FirmwareDumpListener { };

/** Counts the size lines that were read and those of them that were given up. */
class Counts final : public sysinfo::FirmwareDumpListener {
public:
    void seekFailed() override { ++seeksFailed; }
    void sizeLine(std::string const&, uint64_t, std::string const&) override { ++sizeLines; }
    void sizeLineIgnored(std::string const&) override { ++ignored; }

    size_t seeksFailed = 0;
    size_t sizeLines = 0;
    size_t ignored = 0;
};

uint64_t factorOf(std::string const& unit)
{
    return unit == "MB" ? 1024 : unit == "GB" ? 1024 * 1024 : unit == "TB" ? 1024 * 1024 * 1024 : 1;
}

size_t behindLine(std::string const& text, size_t at)
{
    size_t const newline = text.find('\n', at);
    return newline == std::string::npos ? text.size() : newline + 1;
}

uint64_t sumNaively(std::string const& text)
{
    uint64_t sum = 0;
    bool inDevice = false;
    for (size_t at = 0; at < text.size();) {
        size_t const begin = at;
        at = behindLine(text, begin);
        std::string const line = text.substr(begin, text.find('\n', begin) - begin);
        if (line.empty())
            continue;
        if (std::string(" \t\r\v").find(line[0]) == std::string::npos) {
            inDevice = line == "Memory Device";
            continue;
        }
        if (!inDevice || line.find("Size:") == std::string::npos)
            continue;
        NaiveFields fields(text, begin);
        std::string label;
        std::string unit;
        uint64_t number = 0;
        fields.word(label);
        bool const onThisLine = NaiveFields(line, fields.at() - begin).word(unit);
        if (onThisLine && fields.number(number) && fields.word(unit)) {
            sum += number * factorOf(unit);
            at = fields.at();
        } else {
            at = behindLine(text, onThisLine ? fields.at() : begin);
        }
    }
    return sum;
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    std::string const text(reinterpret_cast<char const*>(data), size);
    std::istringstream stream(text);
    Deaf deaf;
    if (sysinfo::sumOfModules(stream, deaf) != sumNaively(text))
        std::abort();

    for (size_t pieceSize : {size_t{1}, size_t{16}, size_t{255}}) {
        testkit::Pieces pieces(text, pieceSize);
        std::istream pipe(&pieces);
        Counts counts;
        uint64_t const sum = sysinfo::sumOfModules(pipe, counts);
        if (counts.ignored > counts.sizeLines || counts.seeksFailed > counts.ignored)
            std::abort();
        if (counts.ignored == counts.sizeLines && sum != 0)
            std::abort();
    }
    return 0;
}
