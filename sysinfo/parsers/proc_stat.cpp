#include "sysinfo/parsers/proc_stat.h"

#include "sysinfo/parsers/line_fields.h"

namespace sysinfo {

namespace {

/** Removes leading blanks and the next number from @p line. @return the number modulo 2^32, 0 if
 * there is none. */
uint32_t takeFigure(std::string_view& line)
{
    takeWhile(line, BLANKS);
    uint32_t figure = 0;
    for (char const digit : takeWhile(line, DIGITS))
        figure = figure * 10 + static_cast<uint32_t>(digit - '0');
    return figure;
}

ProcessorCounters readFigures(std::string_view line)
{
    enum Figure { USER, NICE, SYSTEM, IDLE, IOWAIT, IRQ, SOFTIRQ, FIGURES };
    uint32_t figures[FIGURES];
    for (uint32_t& figure : figures)
        figure = takeFigure(line);
    // Kept: a processor that waits for a disk is busy; time stolen by other guests does not count.
    uint32_t const busy = figures[USER] + figures[NICE] + figures[SYSTEM] + figures[IOWAIT]
        + figures[IRQ] + figures[SOFTIRQ];
    return {figures[IDLE], busy};
}

}

uint32_t countProcessors(
    std::istream& text, std::function<void(std::string const& word)> const& found)
{
    // A search for the prefix passes over the long "intr" line faster than a walk word by word.
    constexpr char PREFIX[] = "cpu";
    uint32_t count = 0;
    for (std::string line; std::getline(text, line);) {
        for (size_t at = line.find(PREFIX); at != std::string::npos;
             at = line.find(PREFIX, at + 1)) {
            if (at > 0 && !BLANKS.contains(line[at - 1]))
                continue;
            std::string_view rest = std::string_view(line).substr(at);
            std::string_view const word = takeUntil(rest, BLANKS);
            if (DIGITS.contains(word.back())) {
                ++count;
                found(std::string(word));
            }
        }
    }
    return count;
}

bool findProcessorCounters(std::istream& text, std::string_view label, ProcessorCounters& out)
{
    for (std::string line; std::getline(text, line);) {
        std::string_view rest = line;
        takeWhile(rest, BLANKS);
        if (!rest.starts_with(label))
            continue;
        takeUntil(rest, BLANKS);
        out = readFigures(rest);
        return true;
    }
    return false;
}

}
