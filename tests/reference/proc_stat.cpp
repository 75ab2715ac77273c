#include "tests/reference/proc_stat.h"

#include "tests/reference/text.h"

#include <algorithm>
#include <numeric>

namespace reference {

namespace {

constexpr char DIGITS[] = "0123456789";

/** Reads user, nice, system, idle, iowait, irq and softirq. @param figures what follows the label.
 * The first word that is not a number makes itself and all that follow 0. */
Counters countersIn(std::string const& figures)
{
    constexpr size_t IDLE = 3;
    std::vector<uint32_t> values(7);
    size_t at = 0;
    for (uint32_t& value : values) {
        at = std::min(figures.find_first_not_of(" \t\v\f\r", at), figures.size());
        size_t const end = std::min(figures.find_first_not_of(DIGITS, at), figures.size());
        for (char const digit : figures.substr(at, end - at))
            value = value * 10 + static_cast<uint32_t>(digit - '0');
        at = end;
    }
    uint32_t const sum = std::accumulate(values.begin(), values.end(), uint32_t{0});
    return {values[IDLE], sum - values[IDLE]};
}

std::vector<uint64_t> numbersIn(std::string const& line)
{
    std::vector<uint64_t> numbers;
    Fields fields(line);
    for (uint64_t number = 0; fields.number(number);)
        numbers.push_back(number);
    return numbers;
}

}

ProcessorTable readProcessors(std::string const& text)
{
    ProcessorTable table;
    for (std::string const& line : lines(text)) {
        Fields fields(line);
        std::string label;
        fields.word(label);
        if (label.rfind("cpu", 0) != 0)
            continue;
        std::string const figures = line.substr(fields.at());
        std::vector<uint64_t> const numbers = numbersIn(figures);
        if (label == "cpu") {
            table.sumOfAllProcessors = std::accumulate(numbers.begin(), numbers.end(), uint64_t{0});
        } else if (label.find_first_not_of(DIGITS, 3) == std::string::npos) {
            table.processors.push_back({static_cast<unsigned int>(std::stoul(label.substr(3))),
                numbers.size(), countersIn(figures)});
        }
    }
    return table;
}

std::vector<std::string> processorWords(std::string const& text)
{
    std::vector<std::string> words;
    Fields fields(text);
    for (std::string word; fields.word(word);)
        if (word.rfind("cpu", 0) == 0 && word.back() >= '0' && word.back() <= '9')
            words.push_back(word);
    return words;
}

std::optional<Counters> findCounters(std::string const& text, std::string const& label)
{
    for (std::string const& line : lines(text)) {
        Fields fields(line);
        std::string word;
        if (fields.word(word) && word.compare(0, label.size(), label) == 0)
            return countersIn(line.substr(fields.at()));
    }
    return std::nullopt;
}

}
