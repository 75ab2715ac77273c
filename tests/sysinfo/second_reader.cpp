#include "tests/sysinfo/second_reader.h"

#include <cstdlib>
#include <numeric>
#include <sstream>

namespace testkit {

namespace {

std::vector<std::string> split(std::string const& text, char separator)
{
    std::vector<std::string> pieces;
    std::istringstream in(text);
    for (std::string piece; std::getline(in, piece, separator);)
        pieces.push_back(piece);
    return pieces;
}

std::vector<uint64_t> figuresOf(std::istringstream& line)
{
    std::vector<uint64_t> figures;
    for (std::string word; line >> word;)
        figures.push_back(std::strtoull(word.c_str(), nullptr, 10));
    return figures;
}

}

ProcStat readProcStat(std::string const& text)
{
    constexpr size_t IDLE = 3;
    constexpr size_t COUNTED = 7;
    ProcStat stat;
    for (std::string const& line : split(text, '\n')) {
        std::istringstream words(line);
        std::string label;
        words >> label;
        if (label.rfind("cpu", 0) != 0)
            continue;
        std::vector<uint64_t> figures = figuresOf(words);
        if (label == "cpu") {
            stat.sumOfAllProcessors = std::accumulate(figures.begin(), figures.end(), uint64_t{0});
        } else if (label.find_first_not_of("0123456789", 3) == std::string::npos) {
            size_t const count = figures.size();
            figures.resize(COUNTED);
            uint64_t const sum = std::accumulate(figures.begin(), figures.end(), uint64_t{0});
            stat.processors.push_back({static_cast<unsigned int>(std::stoul(label.substr(3))),
                static_cast<uint32_t>(figures[IDLE]), static_cast<uint32_t>(sum - figures[IDLE]),
                count});
        }
    }
    return stat;
}

std::map<std::string, std::string> readListing(std::string const& text)
{
    std::map<std::string, std::string> files;
    for (std::string const& line : split(text, '\n'))
        if (size_t const tab = line.find('\t'); tab != std::string::npos)
            files[line.substr(0, tab)] = line.substr(tab + 1);
    return files;
}

unsigned int thousandsOf(std::string const& text)
{
    return static_cast<unsigned int>(std::strtoull(text.c_str(), nullptr, 10) / 1000);
}

std::vector<Capture> readIndex(std::string const& text)
{
    std::vector<Capture> captures;
    std::vector<std::string> names;
    for (std::string const& line : split(text, '\n')) {
        std::vector<std::string> const cells = split(line, '\t');
        if (names.empty()) {
            names = cells;
            continue;
        }
        Capture capture;
        for (size_t i = 0; i < cells.size() && i < names.size(); ++i) {
            if (names[i] == "path")
                capture.path = cells[i];
            else if (names[i] == "tool")
                capture.tool = cells[i];
            else if (names[i] == "expected_facts")
                for (std::string const& fact : split(cells[i], ';'))
                    capture.facts[fact.substr(0, fact.find('='))] = fact.substr(fact.find('=') + 1);
        }
        captures.push_back(capture);
    }
    return captures;
}

}
