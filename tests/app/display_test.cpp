#include "app/write/TextTable.h"
#include "app/write/display.h"
#include "tests/app/LocaleFor.h"

#include <gtest/gtest.h>

#include <locale>

using app::bar;
using app::displayWidth;
using app::oneDecimal;
using app::printable;
using app::sizeText;
using app::TextTable;
using app_test::LocaleFor;

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

TEST(Display, hasOneDecimalAndAPointInEveryLocale)
{
    class Comma : public std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };
    std::locale const former = std::locale::global(std::locale(std::locale(), new Comma));
    EXPECT_EQ(oneDecimal(1234.5), "1234.5");
    std::locale::global(former);
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
    TextTable table({{"Ort", TextTable::LEFT}, {"Größe", TextTable::RIGHT}, {"", TextTable::LEFT}});
    table.addRow({"日本", "1", "x"});
    table.addRow({"Zürich", "1000000"});

    EXPECT_EQ(table.text(),
        "Ort       Größe\n"
        "日本          1  x\n"
        "Zürich  1000000\n");
}

TEST(TextTable, withoutRowsIsItsHeading)
{
    EXPECT_EQ(TextTable({{"CPU", TextTable::RIGHT}}).text(), "CPU\n");
}

TEST(TextTable, givesItsRowsWithoutItsHeading)
{
    TextTable table({{"", TextTable::LEFT}, {"wide", TextTable::RIGHT}});
    EXPECT_TRUE(table.rows().empty());
    table.addRow({"a\x1B", "1"});
    table.addRow({"b"});

    EXPECT_EQ(table.rows(), (std::vector<std::string>{"a?     1", "b"}));
}
