#include "common/basic/text_cast.h"
#include "tests/common/basic/random_below.h"

#include <gtest/gtest.h>

#include <iterator>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using dovrel::literal_cast;
using dovrel::string;
using testkit::below;

namespace {

/** @return what a stream in the classic locale reads, or @p fallback if it fails. */
template <class T> T streamed(std::wstring const& text, T fallback)
{
    std::wistringstream in(text);
    in.imbue(std::locale::classic());
    T value{};
    in >> value;
    return in.fail() ? fallback : value;
}

template <class T> void expectAsAStreamDoes(std::wstring const& text)
{
    for (T fallback : {T{9}, T{-77}}) {
        ASSERT_EQ(literal_cast<T>(string(text.c_str()), fallback), streamed<T>(text, fallback))
            << testing::PrintToString(text);
    }
}

TEST(LiteralCast, readsANumberBetweenBlanks)
{
    EXPECT_EQ(literal_cast<int>(L" 42 ", 9), 42);
    EXPECT_EQ(literal_cast<int>(L"\t\n\v\f\r 42", 9), 42);
    EXPECT_EQ(literal_cast<int>("42", 9), 42);
    EXPECT_EQ(literal_cast<long>(L"-42", 9), -42);
    EXPECT_EQ(literal_cast<long long>(L"+42", 9), 42);
    EXPECT_EQ(literal_cast<int>(L"0042", 9), 42);
    EXPECT_EQ(literal_cast<int>(L"0", 9), 0);
    EXPECT_EQ(literal_cast<int>(L"-0", 9), 0);
}

TEST(LiteralCast, stopsAtTheFirstCharacterThatIsNoDigitKept)
{
    EXPECT_EQ(literal_cast<int>(L"12abc", 9), 12);
    EXPECT_EQ(literal_cast<int>(L"0x1F", 9), 0);
    EXPECT_EQ(literal_cast<int>(L"12 34", 9), 12);
    EXPECT_EQ(literal_cast<int>(L"12-34", 9), 12);
    EXPECT_EQ(literal_cast<int>(L"12.9", 9), 12);
    EXPECT_EQ(literal_cast<int>(L"1,234", 9), 1);
    EXPECT_EQ(literal_cast<int>(L"1e3", 9), 1);
}

TEST(LiteralCast, returnsTheDefaultWhenThereIsNoNumber)
{
    for (wchar_t const* text :
        {L"", L" ", L" \t\n", L"x1", L"+", L"-", L"- 1", L"+-1", L"--1", L".5",
            L"\u00A0"
            L"5",
            L"\u2003"
            L"5",
            L"\u0665", L"\uFF15"}) {
        EXPECT_EQ(literal_cast<int>(text, 9), 9) << testing::PrintToString(text);
        EXPECT_EQ(literal_cast<long>(text, 9L), 9L) << testing::PrintToString(text);
        EXPECT_EQ(literal_cast<long long>(text, 9LL), 9LL) << testing::PrintToString(text);
    }
}

TEST(LiteralCast, returnsTheDefaultWhenTheNumberDoesNotFit)
{
    EXPECT_EQ(literal_cast<int>(L"99999999999", 9), 9);
    EXPECT_EQ(literal_cast<int>(L"2147483647", 9), 2147483647);
    EXPECT_EQ(literal_cast<int>(L"2147483648", 9), 9);
    EXPECT_EQ(literal_cast<int>(L"-2147483648", 9), std::numeric_limits<int>::min());
    EXPECT_EQ(literal_cast<int>(L"-2147483649", 9), 9);
    EXPECT_EQ(literal_cast<long long>(L"9223372036854775807", 9), 9223372036854775807LL);
    EXPECT_EQ(literal_cast<long long>(L"9223372036854775808", 9), 9);
    EXPECT_EQ(
        literal_cast<long long>(L"-9223372036854775808", 9), std::numeric_limits<long long>::min());
    EXPECT_EQ(literal_cast<long long>(L"-9223372036854775809", 9), 9);
    EXPECT_EQ(literal_cast<int>(L"000000000000000000000000000000042", 9), 42);
}

TEST(LiteralCast, readsALongOfThePlatformsWidth)
{
    long const wide = sizeof(long) == 8 ? static_cast<long>(9999999999LL) : 9L;
    EXPECT_EQ(literal_cast<long>(L"9999999999", 9), wide);
    EXPECT_EQ(literal_cast<long>(std::to_wstring(std::numeric_limits<long>::max()).c_str(), 9),
        std::numeric_limits<long>::max());
    EXPECT_EQ(literal_cast<long>(std::to_wstring(std::numeric_limits<long>::min()).c_str(), 9),
        std::numeric_limits<long>::min());
}

/** @return one piece of a generated string. */
std::wstring piece(std::mt19937& random)
{
    static constexpr wchar_t const* PIECES[] = {L" ", L"\t", L"\n", L"\r", L"+", L"-", L"0", L"0x",
        L"1F", L"12abc", L".", L",", L"'", L"e", L"\u00A0", L"\u2003", L"\u3000", L"\u0661",
        L"2147483647", L"2147483648", L"2147483649", L"9223372036854775807", L"9223372036854775808",
        L"9223372036854775809", L"4294967296", L"18446744073709551616", L"922337203685477580",
        L"214748364", L"0000000000000000000000"};
    if (below(random, 2) == 0)
        return std::to_wstring(random() >> below(random, 32));
    return PIECES[below(random, std::size(PIECES))];
}

TEST(LiteralCast, readsGeneratedStringsAsAStreamDoes)
{
    std::mt19937 random(1948);
    for (int round = 0; round < 15000; ++round) {
        std::wstring text;
        for (unsigned pieces = below(random, 5); pieces > 0; --pieces)
            text += piece(random);
        expectAsAStreamDoes<int>(text);
        expectAsAStreamDoes<long>(text);
        expectAsAStreamDoes<long long>(text);
        if (HasFatalFailure())
            return;
    }
}

TEST(LiteralCast, readsNumbersNearTheLimitsAsAStreamDoes)
{
    for (char const* limit : {"2147483647", "4294967295", "9223372036854775807"}) {
        unsigned long long const number = std::stoull(limit);
        for (unsigned long long offset = 0; offset < 40; ++offset) {
            for (wchar_t const* sign : {L"", L"-", L"+"}) {
                std::wstring const text = sign + std::to_wstring(number - 20 + offset);
                expectAsAStreamDoes<int>(text);
                expectAsAStreamDoes<long>(text);
                expectAsAStreamDoes<long long>(text);
                expectAsAStreamDoes<int>(text + L"0");
                expectAsAStreamDoes<long long>(text + L"0");
            }
        }
    }
}

}
