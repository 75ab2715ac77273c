#include "tests/sysinfo/memory_second_reader.h"

#include <map>
#include <sstream>
#include <vector>

namespace testkit {

namespace {

std::vector<std::string> wordsOf(std::string const& line)
{
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;)
        words.push_back(word);
    return words;
}

bool isNumber(std::string const& word)
{
    constexpr size_t MOST_DIGITS = 19; // Certain to fit into 64 bits.
    return !word.empty() && word.size() <= MOST_DIGITS
        && word.find_first_not_of("0123456789") == std::string::npos;
}

/** Takes label, number and unit off the line. @return the size, where they tell one. */
std::optional<uint64_t> takeSize(std::string& line)
{
    static std::map<std::string, uint64_t> const factors = {
        {"MB", 1024}, {"GB", 1024 * 1024}, {"TB", 1024 * 1024 * 1024}};
    std::istringstream in(line);
    std::string label;
    std::string number;
    std::string unit;
    in >> label >> number >> unit;
    if (!isNumber(number))
        return std::nullopt;
    line.clear();
    std::getline(in, line);
    auto const factor = factors.find(unit);
    return std::stoull(number) * (factor == factors.end() ? 1 : factor->second);
}

}

MeminfoFigures readMeminfo(std::string const& text)
{
    MeminfoFigures figures;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line) && !(figures.total && figures.free);) {
        std::vector<std::string> const words = wordsOf(line);
        if (words.empty())
            continue;
        if (words.size() != 3 || !isNumber(words[1]))
            break;
        if (words[0] == "MemTotal:")
            figures.total = std::stoull(words[1]);
        else if (words[0] == "MemFree:")
            figures.free = std::stoull(words[1]);
    }
    return figures;
}

std::optional<uint64_t> sizeIn(std::string const& line)
{
    std::string rest = line;
    return takeSize(rest);
}

DumpedModules readDump(std::string const& text)
{
    DumpedModules modules;
    bool inDevice = false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        bool const indented = !line.empty() && (line[0] == '\t' || line[0] == ' ');
        if (!line.empty() && line[0] != '\r' && !indented)
            inDevice = line == "Memory Device";
        // What stands behind a size may be another one.
        while (indented && inDevice && line.find("Size:") != std::string::npos) {
            std::optional<uint64_t> const size = takeSize(line);
            if (!size) {
                ++modules.withoutSize;
                break;
            }
            modules.sum += *size;
            ++modules.count;
        }
    }
    return modules;
}

}
