#include "app/write/exact_values.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

namespace app {

std::optional<std::string> timestamp(std::optional<int64_t> seconds)
{
    constexpr int LAST_YEAR = 9999 - 1900; // struct tm counts from 1900.
    auto const time = static_cast<std::time_t>(seconds.value_or(0));
    std::tm local{};
    std::array<char, 64> text;
    if (!seconds || time != *seconds || !localtime_r(&time, &local) || local.tm_year > LAST_YEAR
        || std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local) == 0)
        return std::nullopt;
    std::string const written = text.data();
    size_t const minutes = written.size() - 2; // strftime(3) writes +0100.
    return written.substr(0, minutes) + ":" + written.substr(minutes);
}

std::optional<double> ratioOf(std::optional<double> percent)
{
    constexpr double HUNDRED = 100;
    constexpr double STEPS = 10'000;
    return percent ? std::optional(std::round(*percent / HUNDRED * STEPS) / STEPS) : std::nullopt;
}

std::optional<uint64_t> times(uint64_t factor, std::optional<uint64_t> number)
{
    return number ? std::optional(*number * factor) : std::nullopt;
}

std::optional<std::string> wordOf(std::optional<std::string> const& text)
{
    // The kernel's word for the state of a link of which it knows nothing.
    if (!text || *text == "unknown")
        return std::nullopt;
    std::string word = *text;
    // Not by tolower(3), whose Turkish "I" has no dot as a small letter either.
    for (char& character : word)
        if (character == ' ')
            character = '_';
        else if (character >= 'A' && character <= 'Z')
            character = static_cast<char>(character - 'A' + 'a');
    return word;
}

std::optional<std::string> nonEmpty(std::string const& text)
{
    return text.empty() ? std::nullopt : std::optional(text);
}

std::optional<uint64_t> transfersPerSecond(std::optional<std::string> const& speed)
{
    if (!speed)
        return std::nullopt;
    constexpr size_t MOST_DIGITS = 9;
    size_t const digits = std::min(speed->find_first_not_of("0123456789"), speed->size());
    std::string const unit = speed->substr(digits);
    bool const clean = unit == " MT/s" || unit == " MHz" || unit.starts_with(" MHz (");
    if (!clean || digits == 0 || digits > MOST_DIGITS)
        return std::nullopt;
    return std::stoull(speed->substr(0, digits)) * MEGA;
}

}
