#include "tests/reference/dmidecode_output.h"

#include "tests/reference/text.h"

namespace reference {

namespace {

uint64_t factorOf(std::string const& unit)
{
    return unit == "MB" ? 1024 : unit == "GB" ? 1024 * 1024 : unit == "TB" ? 1024 * 1024 * 1024 : 1;
}

size_t nextLine(std::string const& text, size_t at)
{
    size_t const newline = text.find('\n', at);
    return newline == std::string::npos ? text.size() : newline + 1;
}

}

MemoryModules readModules(std::string const& dump)
{
    MemoryModules modules;
    bool inDevice = false;
    for (size_t at = 0; at < dump.size();) {
        size_t const begin = at;
        at = nextLine(dump, begin);
        std::string const line = dump.substr(begin, dump.find('\n', begin) - begin);
        if (line.empty())
            continue;
        if (std::string(" \t\r\v").find(line[0]) == std::string::npos) {
            inDevice = line == "Memory Device";
            ++modules.sections;
            continue;
        }
        if (!inDevice || line.find("Size:") == std::string::npos)
            continue;
        // A missing unit is read from the next line, a missing number is not.
        Fields fields(dump, begin);
        std::string label;
        std::string unit;
        uint64_t number = 0;
        fields.word(label);
        bool const hasSecondWord = Fields(line, fields.at() - begin).word(unit);
        if (hasSecondWord && fields.number(number) && fields.word(unit)) {
            modules.sum += number * factorOf(unit);
            ++modules.count;
            at = fields.at();
        } else {
            ++modules.withoutSize;
            at = nextLine(dump, hasSecondWord ? fields.at() : begin);
        }
    }
    return modules;
}

std::optional<uint64_t> sizeIn(std::string const& line)
{
    Fields fields(line);
    std::string label;
    std::string unit;
    uint64_t number = 0;
    if (!fields.word(label) || !fields.number(number))
        return std::nullopt;
    fields.word(unit);
    return number * factorOf(unit);
}

}
