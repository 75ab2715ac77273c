#include "common/basic/wide_string.h"
#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/random_below.h"
#include "tests/common/basic/recursive_wcstombs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <vector>

using dovrel::safe_wcstombs_s;
using testkit::below;

namespace {

constexpr unsigned UP_TO_TERMINATOR = 0xFFFFFFFF;
constexpr unsigned FRESH = 0xDDDDDDDD;

/** The results of one conversion and the contents of its buffer. */
struct Outcome {
    int code;
    unsigned result;
    std::string bytes;

    friend bool operator==(Outcome const&, Outcome const&) = default;
};

using Converter = int (*)(unsigned*, char*, unsigned, wchar_t const*, unsigned);

// The buffer is 64 bytes longer than its stated size, so that a write beyond it shows.
Outcome convert(Converter converter, std::wstring const& text, unsigned room, unsigned count)
{
    Outcome outcome{-1, FRESH, std::string(room + 64, '#')};
    outcome.code = converter(&outcome.result, outcome.bytes.data(), room, text.c_str(), count);
    return outcome;
}

Outcome measure(Converter converter, std::wstring const& text, unsigned room, unsigned count)
{
    Outcome outcome{-1, FRESH, {}};
    outcome.code = converter(&outcome.result, nullptr, room, text.c_str(), count);
    return outcome;
}

std::string converted(std::wstring const& text)
{
    auto const count = static_cast<unsigned>(text.length());
    Outcome const size = measure(safe_wcstombs_s, text, 0, count);
    Outcome const outcome = convert(safe_wcstombs_s, text, size.result, count);
    EXPECT_EQ(size.code, 0);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.result, size.result);
    return outcome.bytes.substr(0, outcome.result - 1);
}

TEST(WideToNarrow, encodesCharactersThatTheLocaleHas)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(converted(L"plain"), "plain");
    EXPECT_EQ(converted(L"a\u00E9\u20AC\U0001F600z"), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z");
    EXPECT_EQ(converted(L""), "");
}

TEST(WideToNarrow, writesAQuestionMarkForEachCharacterThatTheLocaleLacks)
{
    LocaleScope const locale("C");
    EXPECT_EQ(converted(L"\u20ACbcdef"), "?bcdef");
    EXPECT_EQ(converted(L"abcde\u20AC"), "abcde?");
    EXPECT_EQ(converted(L"ab\u20ACdef"), "ab?def");
    EXPECT_EQ(converted(L"\u20ACb\u20ACd\u20ACf"), "?b?d?f");
    EXPECT_EQ(converted(L"a\u20AC\u20AC\u20ACef"), "a???ef");
    EXPECT_EQ(converted(L"\u20AC\U0001F600\u00E9"), "???");
    EXPECT_EQ(converted(L"\u20AC"), "?");
}

TEST(WideToNarrow, replacesHalvesOfSurrogatePairsInUtf8)
{
    LocaleScope const locale("C.UTF-8");
    std::wstring text(L"\u20ACxy\u00E9");
    text[1] = static_cast<wchar_t>(0xD800);
    text[2] = static_cast<wchar_t>(-1);
    EXPECT_EQ(converted(text), "\xE2\x82\xAC??\xC3\xA9");
}

TEST(WideToNarrow, encodesInEightBitAndTwoByteEncodings)
{
    {
        LocaleScope const locale("ISO-8859-1");
        EXPECT_EQ(converted(L"caf\u00E9 \u20AC \\~\u00FF"), "caf\xE9 ? \\~\xFF");
    }
    LocaleScope const locale("SHIFT_JIS");
    EXPECT_EQ(converted(L"\u8868\u00A5\u203E\u00E9."), "\x95\x5C\x5C\x7E?.");
}

TEST(WideToNarrow, writesAHeldBackCharacterBeforeTheNextOne)
{
    LocaleScope const locale("BIG5-HKSCS");
    for (size_t before = 0; before < 200; ++before) {
        std::wstring const text(before, L'a');
        std::string const expected(before, 'a');
        EXPECT_EQ(converted(text
                      + L"\u00CA"
                        L"bc"),
            expected
                + "\x88\x66"
                  "bc");
        EXPECT_EQ(converted(text + L"\u00CA\u0304z"), expected + "\x88\x62z");
        EXPECT_EQ(converted(text + L"\u00CA\u00EAz"), expected + "\x88\x66\x88\xA7z");
    }
}

TEST(WideToNarrow, omitsACharacterThatIsHeldBackAtTheEndOfTheCountKept)
{
    LocaleScope const locale("BIG5-HKSCS");
    EXPECT_EQ(converted(L"a\u00CA"), "a");
    EXPECT_EQ(convert(safe_wcstombs_s, L"a\u00CA", 8, UP_TO_TERMINATOR).result, 4U);
    EXPECT_EQ(measure(safe_wcstombs_s, L"a\u00CA", 0, UP_TO_TERMINATOR).result, 4U);
}

TEST(WideToNarrow, succeedsWhenNothingIsWrittenAfterAZeroByte)
{
    // Every encoding ignores a language tag; BIG5-HKSCS holds U+00CA back.
    for (char const* name : {"C", "BIG5-HKSCS"}) {
        LocaleScope const locale(name);
        for (wchar_t const* text : {L"\U000E0041", L"\u00CA"}) {
            if (*text == L'\u00CA' && std::string_view(name) == "C")
                continue;
            char bytes[16] = {};
            unsigned result = FRESH;
            EXPECT_EQ(safe_wcstombs_s(&result, bytes + 1, sizeof bytes - 1, text, 1), 0);
            EXPECT_EQ(result, 1U) << name;
            EXPECT_EQ(measure(safe_wcstombs_s, text, 0, 1).result, 1U) << name;
        }
    }
}

TEST(WideToNarrow, countsTheTerminatorWhenItConvertsUpToIt)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(measure(safe_wcstombs_s, L"a\u20AC", 0, UP_TO_TERMINATOR), (Outcome{0, 5, {}}));
    Outcome const whole = convert(safe_wcstombs_s, L"a\u20AC", 16, UP_TO_TERMINATOR);
    EXPECT_EQ(whole.result, 5U);
    EXPECT_EQ(whole.bytes.substr(0, 6), std::string("a\xE2\x82\xAC\0#", 6));
}

TEST(WideToNarrow, writesNoTerminatorWhenTheCountEndsTheConversion)
{
    Outcome const outcome = convert(safe_wcstombs_s, L"abcdef", 16, 3);
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.result, 4U);
    EXPECT_EQ(outcome.bytes.substr(0, 4), "abc#");
}

TEST(WideToNarrow, reportsOneByteForACountOfZero)
{
    EXPECT_EQ(measure(safe_wcstombs_s, L"abc", 0, 0), (Outcome{0, 1, {}}));
    Outcome const outcome = convert(safe_wcstombs_s, L"\u20AC", 4, 0);
    EXPECT_EQ(outcome.result, 1U);
    EXPECT_EQ(outcome.bytes, std::string(68, '#'));
    EXPECT_EQ(measure(safe_wcstombs_s, L"", 0, UP_TO_TERMINATOR), (Outcome{0, 1, {}}));
}

TEST(WideToNarrow, neverWritesBeyondTheBuffer)
{
    for (char const* name : {"C", "C.UTF-8", "SHIFT_JIS"}) {
        LocaleScope const locale(name);
        std::wstring const text(L"a\u20AC\u8868\u00E9\u00E9z\U0001F600\u00A5\\");
        for (unsigned room = 0; room < 40; ++room) {
            for (unsigned count : {0U, 1U, 2U, 5U, 9U, 20U, UP_TO_TERMINATOR}) {
                Outcome const outcome = convert(safe_wcstombs_s, text, room, count);
                EXPECT_EQ(outcome.code, 0);
                EXPECT_EQ(outcome.bytes.substr(room), std::string(64, '#'))
                    << name << ' ' << room << ' ' << count;
            }
        }
    }
}

TEST(WideToNarrow, countsOneBytePerCharacterUpToTheLastInvalidOneInATinyBufferKept)
{
    LocaleScope const locale("C.UTF-8");
    std::wstring text(L"\u20AC\u20ACx\u20AC");
    text[2] = static_cast<wchar_t>(0xDC00);
    EXPECT_EQ(measure(safe_wcstombs_s, text, 0, UP_TO_TERMINATOR).result, 3 + 3 + 1U);
    EXPECT_EQ(measure(safe_wcstombs_s, text, 3, UP_TO_TERMINATOR).result, 3 + 3 + 1U);
    EXPECT_EQ(measure(safe_wcstombs_s, text, 0, 4).result, 3 + 3 + 1 + 3 + 1U);
}

/** @return a string with a random share of characters that some locales lack. */
std::wstring randomText(std::mt19937& random)
{
    static constexpr wchar_t CHARACTERS[] = {L'a', L'Z', L'\\', L'~', L'\u00E9', L'\u00A5',
        L'\u20AC', L'\u8868', L'\u00CA', L'\u00CA', L'\u0304', L'\u030C', L'\U0001F600',
        L'\U000E0041', 0xD800, 0x7FFFFFFF, 0x110000, -1};
    size_t const length = below(random, below(random, 16) ? 40 : 300);
    unsigned const oddShare = below(random, 5);
    std::wstring text(length, L'x');
    for (wchar_t& c : text)
        if (below(random, 4) < oddShare)
            c = CHARACTERS[below(random, std::size(CHARACTERS))];
    return text;
}

class WideToNarrowInLocale : public testing::TestWithParam<char const*> { };

TEST_P(WideToNarrowInLocale, agreesWithTheRecursiveReference)
{
    LocaleScope const locale(GetParam());
    std::mt19937 random(20110916);
    for (int round = 0; round < 12000; ++round) {
        std::wstring const text = randomText(random);
        auto const length = static_cast<unsigned>(text.length());
        unsigned const counts[] = {length, below(random, length + 1), UP_TO_TERMINATOR};
        unsigned const count = counts[below(random, 3)];
        unsigned const room = below(random, 4) ? below(random, 64) : 400;
        ASSERT_EQ(convert(safe_wcstombs_s, text, room, count),
            convert(recursiveWcstombs, text, room, count))
            << "round " << round << ", room " << room << ", count " << count;
        ASSERT_EQ(measure(safe_wcstombs_s, text, room, count),
            measure(recursiveWcstombs, text, room, count))
            << "round " << round << ", no destination, room " << room << ", count " << count;
    }
}

INSTANTIATE_TEST_SUITE_P(Locales, WideToNarrowInLocale,
    testing::Values("C", "C.UTF-8", "ISO-8859-1", "BIG5-HKSCS", "SHIFT_JIS"));

}
