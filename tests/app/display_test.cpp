#include "app/Table.h"
#include "app/display.h"
#include "app/json_text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <locale>

using app::bar;
using app::displayWidth;
using app::oneDecimal;
using app::printable;
using app::sizeText;
using app::Table;

namespace {

/** Sets the C library's locale for one test. */
class LocaleFor {
public:
    explicit LocaleFor(char const* name) : m_former(std::setlocale(LC_ALL, nullptr))
    {
        EXPECT_NE(std::setlocale(LC_ALL, name), nullptr) << name;
    }
    LocaleFor(LocaleFor const&) = delete;
    LocaleFor& operator=(LocaleFor const&) = delete;
    ~LocaleFor() { std::setlocale(LC_ALL, m_former.c_str()); }

private:
    std::string m_former;
};

class CommaAndGroups : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

}

TEST(Display, countsColumnsNotBytes)
{
    LocaleFor const utf8("C.UTF-8");
    EXPECT_EQ(displayWidth("abc"), 3U);
    EXPECT_EQ(displayWidth("Zürich"), 6U);
    EXPECT_EQ(displayWidth("日本"), 4U);
    EXPECT_EQ(displayWidth(""), 0U);
}

TEST(Display, hasNoControlCharactersAndNoBrokenText)
{
    LocaleFor const utf8("C.UTF-8");
    EXPECT_EQ(printable("disk \x1B[2J\n"), "disk ?[2J?");
    EXPECT_EQ(printable(std::string("a\0b", 3)), "a?b");
    EXPECT_EQ(printable("Z\xFCrich Zürich\xC3"), "Z?rich Zürich?");
    EXPECT_EQ(displayWidth(printable("Z\xFCrich\xC3")), 7U);
}

TEST(Display, hasOneDecimalAndAPoint)
{
    EXPECT_EQ(oneDecimal(0), "0.0");
    EXPECT_EQ(oneDecimal(12.5), "12.5");
    EXPECT_EQ(oneDecimal(99.97), "100.0");
    EXPECT_EQ(oneDecimal(1e300).size(), 303U);
}

TEST(Display, givesSizesInTheLargestUnitThatTheyFill)
{
    EXPECT_EQ(sizeText(0), "0 B");
    EXPECT_EQ(sizeText(1023), "1023 B");
    EXPECT_EQ(sizeText(1024), "1.0 KiB");
    EXPECT_EQ(sizeText(1536), "1.5 KiB");
    EXPECT_EQ(sizeText(8ULL << 30), "8.0 GiB");
    EXPECT_EQ(sizeText(1536ULL << 40), "1.5 PiB");
    EXPECT_EQ(sizeText(std::nullopt), "-");
}

TEST(Display, givesSizesAsNumbersOfBytesOnDemand)
{
    EXPECT_EQ(sizeText(0, app::UNIT_BYTES), "0");
    EXPECT_EQ(sizeText(UINT64_MAX, app::UNIT_BYTES), "18446744073709551615");
    EXPECT_EQ(sizeText(std::nullopt, app::UNIT_BYTES), "-");
}

TEST(Display, neverGivesAThousandAndTwentyFourOfAUnit)
{
    EXPECT_EQ(sizeText((1ULL << 20) - 100), "1023.9 KiB");
    EXPECT_EQ(sizeText((1ULL << 20) - 1), "1.0 MiB");
    EXPECT_EQ(sizeText((1ULL << 60) - 1), "1.0 EiB");
    EXPECT_EQ(sizeText(UINT64_MAX), "16.0 EiB");
}

TEST(Display, drawsBarsOfConstantWidth)
{
    EXPECT_EQ(bar(0, 10, false), "..........");
    EXPECT_EQ(bar(12.5F, 10, false), "#.........");
    EXPECT_EQ(bar(50, 4, true), "██░░");
    EXPECT_EQ(bar(100, 10, false), "##########");
    EXPECT_EQ(bar(250, 4, false), "####");
    EXPECT_EQ(bar(-1, 4, false), "....");
}

TEST(TextTable, alignsNumbersToTheRightByDisplayWidth)
{
    LocaleFor const utf8("C.UTF-8");
    Table table;
    table.addColumn("Ort", Table::LEFT);
    table.addColumn("Größe", Table::RIGHT);
    table.addColumn("", Table::LEFT);
    table.addRow({"日本", "1", "x"});
    table.addRow({"Zürich", "1000000"});

    EXPECT_EQ(table.text(),
        "Ort       Größe\n"
        "日本          1  x\n"
        "Zürich  1000000\n");
}

TEST(TextTable, withoutRowsIsItsHeading)
{
    Table table;
    table.addColumn("CPU", Table::RIGHT);
    EXPECT_EQ(table.text(), "CPU\n");
}

TEST(TextTable, givesItsRowsWithoutItsHeading)
{
    Table table;
    table.addColumn("", Table::LEFT);
    table.addColumn("wide", Table::RIGHT);
    EXPECT_TRUE(table.rows().empty());
    table.addRow({"a\x1B", "1"});
    table.addRow({"b"});

    EXPECT_EQ(table.rows(), (std::vector<std::string>{"a?     1", "b"}));
}

TEST(JsonText, isValidWhateverANameIsMadeOf)
{
    std::string const text = app::jsonText({{"name", "Z\xFCrich \x1B\""}});

    app::Json const read = app::Json::parse(text);
    EXPECT_EQ(read.at("name"), "Z\xEF\xBF\xBDrich \x1B\"");
}

TEST(JsonText, hasNoControlCharactersThatATerminalObeys)
{
    // DEL, and U+009B, which is ESC [ in one character; U+00A0 and U+00C2 are none.
    app::Json const document = {{"name", "\x1B[2J\x7F\xC2\x9B\xC2\xA0\xC3\x82"}};

    std::string const text = app::jsonText(document);

    EXPECT_EQ(text, "{\n  \"name\": \"\\u001b[2J\\u007f\\u009b\xC2\xA0\xC3\x82\"\n}\n");
    EXPECT_EQ(app::Json::parse(text), document);
}

TEST(JsonText, keepsTheOrderOfKeysAndEndsInANewline)
{
    EXPECT_EQ(app::jsonText({{"z", 1}, {"a", nullptr}}), "{\n  \"z\": 1,\n  \"a\": null\n}\n");
}

TEST(JsonText, hasNeitherCommasNorGroupsInNumbers)
{
    std::locale const former = std::locale::global(std::locale(std::locale(), new CommaAndGroups));
    std::string const text = app::jsonText({{"a", 12.5}, {"b", 1234567}});
    std::string const decimal = oneDecimal(1234.5);
    std::locale::global(former);

    EXPECT_EQ(text, "{\n  \"a\": 12.5,\n  \"b\": 1234567\n}\n");
    EXPECT_EQ(decimal, "1234.5");
}
