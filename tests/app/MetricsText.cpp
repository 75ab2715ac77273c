#include "tests/app/MetricsText.h"

#include "tests/support/Json.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <regex>
#include <stdexcept>

namespace app_test {

namespace {

void require(bool holds, char const* rule)
{
    if (!holds)
        throw std::runtime_error(rule);
}

bool isUtf8(std::string const& text)
{
    try {
        (void)testkit::Json(text).dump();
        return true;
    } catch (std::exception const&) {
        return false;
    }
}

bool isMetricName(std::string const& name)
{
    static std::regex const names("[a-z][a-z0-9_]*");
    return std::regex_match(name, names);
}

/** Takes a word with all characters of @p allowed off the front. */
std::string takeWhile(std::string& rest, char const* allowed)
{
    size_t const end = std::min(rest.find_first_not_of(allowed), rest.size());
    std::string const word = rest.substr(0, end);
    rest.erase(0, end);
    return word;
}

void take(std::string& rest, char expected, char const* rule)
{
    require(rest.starts_with(expected), rule);
    rest.erase(0, 1);
}

/** Takes a label's value off the front, up to the quote behind it. */
std::string takeValue(std::string& rest)
{
    std::string value;
    while (!rest.starts_with('"')) {
        require(!rest.empty(), "a label's value ends in a quote");
        char next = rest.front();
        rest.erase(0, 1);
        if (next == '\\') {
            require(!rest.empty() && std::string("\\\"n").find(rest.front()) != std::string::npos,
                "only a backslash, a quote and a newline are escaped");
            next = rest.front() == 'n' ? '\n' : rest.front();
            rest.erase(0, 1);
        }
        value += next;
    }
    return value;
}

constexpr char const* NAME = "abcdefghijklmnopqrstuvwxyz0123456789_";

std::map<std::string, std::string> takeLabels(std::string& rest)
{
    std::map<std::string, std::string> labels;
    if (!rest.starts_with('{'))
        return labels;
    do {
        rest.erase(0, 1);
        std::string const name = takeWhile(rest, NAME);
        require(isMetricName(name), "a label has a name");
        take(rest, '=', "= follows a label's name");
        take(rest, '"', "a label's value begins with a quote");
        std::string const value = takeValue(rest);
        rest.erase(0, 1);
        require(!value.empty(), "a label without a value is left out");
        require(labels.emplace(name, value).second, "a label stands once in a sample");
    } while (rest.starts_with(','));
    take(rest, '}', "} follows the labels");
    return labels;
}

}

MetricsText::MetricsText(std::string const& text)
{
    require(text.ends_with("# EOF\n"), "the text ends in # EOF");
    require(isUtf8(text), "the text is UTF-8");
    std::string line;
    try {
        for (size_t begin = 0; begin < text.size(); begin += line.size() + 1) {
            line = text.substr(begin, text.find('\n', begin) - begin);
            require(std::none_of(line.begin(), line.end(),
                        [](unsigned char byte) { return byte < ' ' || byte == 0x7F; }),
                "a line has no control characters");
            if (line == "# EOF")
                require(begin + line.size() + 1 == text.size(), "nothing follows # EOF");
            else if (line.starts_with("#"))
                readMetadata(line);
            else
                readSample(line);
        }
        endFamily();
    } catch (std::runtime_error const& error) {
        throw std::runtime_error(line + ": " + error.what());
    }
}

void MetricsText::readMetadata(std::string const& line)
{
    static std::regex const lines("# (TYPE|UNIT|HELP) ([^ ]+) (.+)");
    std::smatch words;
    require(std::regex_match(line, words, lines), "a comment is TYPE, UNIT or HELP");
    std::string const name = words[2];
    std::string const text = words[3];
    if (words[1] == "TYPE") {
        endFamily();
        require(isMetricName(name), "a family has a name");
        require(m_families.try_emplace(name).second, "a family stands in one place");
        m_names.push_back(name);
        require(text == "gauge" || text == "counter", "both formats have the type");
        current().type = text;
        return;
    }
    require(!m_names.empty() && name == m_names.back(), "TYPE stands first in its family");
    require(current().samples.empty(), "a family's samples follow its description");
    std::string& field = words[1] == "UNIT" ? current().unit : current().help;
    require(field.empty(), "a family has one unit and one help");
    field = text;
    if (words[1] == "UNIT")
        require(name.ends_with("_" + text), "a family's name ends in its unit");
    else
        require(text.find_first_of("\\\"") == std::string::npos, "a help needs no escapes");
}

void MetricsText::readSample(std::string const& line)
{
    std::string rest = line;
    std::string const name = takeWhile(rest, NAME);
    require(!m_names.empty() && name == m_names.back(), "a sample stands below its family");
    MetricSample sample;
    sample.labels = takeLabels(rest);
    take(rest, ' ', "one blank stands before the value");
    auto const number = std::from_chars(rest.data(), rest.data() + rest.size(), sample.value);
    require(number.ec == std::errc() && std::isfinite(sample.value), "a value is a number");
    require(number.ptr == rest.data() + rest.size(), "nothing follows the value");
    auto& samples = current().samples;
    require(std::none_of(samples.begin(), samples.end(),
                [&](MetricSample const& other) { return other.labels == sample.labels; }),
        "two samples of a family differ in their labels");
    samples.push_back(std::move(sample));
}

void MetricsText::endFamily()
{
    if (m_names.empty())
        return;
    require(!current().help.empty(), "a family has a help");
    require(!current().samples.empty(), "a family has a sample");
}

}
