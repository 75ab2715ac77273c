#include "app/write/display.h"
#include "app/write/names.h"
#include "tests/app/LocaleFor.h"

#include <gtest/gtest.h>

#include <limits>
#include <locale>

using app::bar;
using app::displayWidth;
using app::oneDecimal;
using app::printable;
using app::shortened;
using app::sizeText;
using app_test::LocaleFor;

TEST(Display, countsColumnsNotBytes)
{
    LocaleFor const utf8("C.UTF-8");
    EXPECT_EQ(displayWidth("abc"), 3U);
    EXPECT_EQ(displayWidth("Zürich"), 6U);
    EXPECT_EQ(displayWidth("日本"), 4U);
    EXPECT_EQ(displayWidth(""), 0U);
}

TEST(Display, countsACharacterAndItsMarksOnce)
{
    LocaleFor const utf8("C.UTF-8");
    EXPECT_EQ(displayWidth("e\xCC\x81t\xC3\xA9"), 3U) << "an accent by itself, and within a letter";
    EXPECT_EQ(displayWidth("\xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB"), 2U)
        << "a woman, a joiner and a laptop are one picture";
}

TEST(Display, cutsBetweenCharactersAndMarksTheCut)
{
    LocaleFor const utf8("C.UTF-8");
    EXPECT_EQ(shortened("abcdef", 6), "abcdef");
    EXPECT_EQ(shortened("abcdef", 5), "abcd…");
    EXPECT_EQ(shortened("日本語", 5), "日本…");
    EXPECT_EQ(shortened("日本語", 4), "日…") << "half of a character is not shown";
    EXPECT_EQ(shortened("e\xCC\x81tude", 3), "e\xCC\x81t…");
    EXPECT_EQ(shortened("abc", 1), "…");
    EXPECT_EQ(shortened("abc", 0), "");
}

TEST(Display, marksACutInPlainBytes)
{
    EXPECT_EQ(shortened("abcdef", 5), "abcd~");
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

TEST(Display, colorsTextOnlyWhereItIsWanted)
{
    EXPECT_EQ(app::colored("text", app::Color::BOLD, true), "\x1B[1mtext\x1B[0m");
    EXPECT_EQ(app::colored("text", app::Color::BOLD, false), "text");
    EXPECT_EQ(app::colored("", app::Color::BOLD, true), "");
}

TEST(Display, hasADashForATimeThatIsUnknownOrTooLate)
{
    EXPECT_EQ(app::timeText(std::nullopt), "-");
    EXPECT_EQ(app::timeText(std::numeric_limits<int64_t>::max()), "-");
    EXPECT_EQ(app::timeText(std::numeric_limits<int64_t>::min()), "-");
}

TEST(Display, givesAnUptimeInDaysHoursAndMinutes)
{
    EXPECT_EQ(app::uptimeText(std::nullopt), "-");
    EXPECT_EQ(app::uptimeText(59), "0:00");
    EXPECT_EQ(app::uptimeText(300), "0:05");
    EXPECT_EQ(app::uptimeText(86'399), "23:59");
    EXPECT_EQ(app::uptimeText(86'400), "1 day 0:00");
    EXPECT_EQ(app::uptimeText(200'000), "2 days 7:33");
}
