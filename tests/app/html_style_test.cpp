#include "app/write/html_style.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <regex>
#include <string>
#include <utility>

namespace {

using Colors = std::map<std::string, std::string>;

/** @return the colors of the style sheet, of the dark mode where it is wanted. */
Colors colorsOf(std::string const& style, bool dark)
{
    size_t const second = style.find(":root{", style.find(":root{") + 1);
    Colors colors;
    static std::regex const color("--([a-z-]+):(#[0-9a-f]{6})");
    auto const read = [&colors](std::string const& block) {
        for (std::sregex_iterator i(block.begin(), block.end(), color), end; i != end; ++i)
            colors[(*i)[1]] = (*i)[2];
    };
    read(style.substr(0, style.find('}')));
    if (dark)
        read(style.substr(second, style.find('}', second) - second));
    return colors;
}

/** The relative luminance, Web Content Accessibility Guidelines 2.1. */
double luminanceOf(std::string const& color)
{
    constexpr double WEIGHTS[] = {0.2126, 0.7152, 0.0722};
    double sum = 0;
    for (size_t i = 0; i < 3; ++i) {
        double const share = std::stoi(color.substr(1 + 2 * i, 2), nullptr, 16) / 255.0;
        sum += WEIGHTS[i]
            * (share <= 0.04045 ? share / 12.92 : std::pow((share + 0.055) / 1.055, 2.4));
    }
    return sum;
}

double contrastOf(std::string const& one, std::string const& other)
{
    double const first = luminanceOf(one);
    double const second = luminanceOf(other);
    return (std::max(first, second) + 0.05) / (std::min(first, second) + 0.05);
}

}

TEST(HtmlStyle, hasReadableContrastsInBothModes)
{
    constexpr double READABLE = 4.5; // Level AA of the guidelines, for text of any size.
    constexpr std::pair<char const*, char const*> TEXTS[] = {{"ink", "paper"}, {"muted", "paper"},
        {"link", "paper"}, {"ink", "hover"}, {"muted", "hover"}, {"link", "hover"},
        {"ink", "alert"}, {"alert-ink", "alert"}};
    constexpr double VISIBLE = 3; // For what is no text.
    constexpr std::pair<char const*, char const*> BARS[] = {
        {"fill", "track"}, {"full", "track"}, {"fill", "paper"}, {"alert-line", "paper"}};
    std::string const style = app::htmlStyle();
    for (bool const dark : {false, true}) {
        Colors const colors = colorsOf(style, dark);
        for (auto const& [text, ground] : TEXTS)
            EXPECT_GE(contrastOf(colors.at(text), colors.at(ground)), READABLE)
                << text << " on " << ground << (dark ? ", dark" : ", light");
        for (auto const& [bar, ground] : BARS)
            EXPECT_GE(contrastOf(colors.at(bar), colors.at(ground)), VISIBLE)
                << bar << " on " << ground << (dark ? ", dark" : ", light");
    }
    EXPECT_NE(colorsOf(style, true), colorsOf(style, false));
}

TEST(HtmlStyle, takesAllColorsFromTheVariablesOfTheModes)
{
    std::string const style = app::htmlStyle();
    size_t const end = style.find("}}");
    ASSERT_NE(end, std::string::npos);
    EXPECT_FALSE(std::regex_search(style.substr(end), std::regex("#[0-9a-f]{3,6}[;})]|rgb|hsl")));
}
