#include "common/basic/wide_string.h"
#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/string_fields.h"
#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>
#include <vector>

using dovrel::string;

namespace {

TEST(NarrowToWide, treatsNullAsEmpty)
{
    for (char const* name : {"C", "C.UTF-8", "ISO-8859-1", "SHIFT_JIS"}) {
        LocaleScope const locale(name);
        char const* const none = nullptr;
        EXPECT_EQ(wide(string(none)), L"");
        EXPECT_EQ(wide(string(none, 0xFFFFFFFF)), L"");
        EXPECT_EQ(wide(string(none, 5)), L"");
        EXPECT_EQ(wide(string("", 5)), L"");
        EXPECT_EQ(wide(string("")), L"");
        EXPECT_EQ(wide(string(std::string())), L"");
        EXPECT_EQ(wide(string("abc", 0)), L"");
    }
}

TEST(NarrowToWide, readsNoMoreCharactersThanTheCount)
{
    EXPECT_EQ(wide(string("abcdef", 3)), L"abc");
    EXPECT_EQ(wide(string("abcdef", 6)), L"abcdef");
    EXPECT_EQ(wide(string("abcdef", 50)), L"abcdef");
    EXPECT_EQ(wide(string("abcdefghijklmnop", 12)), L"abcdefghijkl");
}

TEST(NarrowToWide, countsWideCharactersAndNotBytes)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(wide(string("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z", 3)), L"\u00E9\u20AC\U0001F600");
    EXPECT_EQ(wide(string("\xC3\xA9z", 1)), L"\u00E9");
    EXPECT_EQ(wide(string("\xC3\xA9z", 2)), L"\u00E9z");
}

TEST(NarrowToWide, decodesUtf8SequencesOfEachLength)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(wide(string("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80")), L"a\u00E9\u20AC\U0001F600");
    EXPECT_EQ(wide(string(std::string("\xF4\x8F\xBF\xBF"))), L"\U0010FFFF");
}

TEST(NarrowToWide, replacesTheWholeStringWithQuestionMarksWhenOneByteIsInvalidKept)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(wide(string("ab\xFF"
                          "de")),
        L"?????");
    EXPECT_EQ(wide(string(std::string("ab\xFF"
                                      "de"))),
        L"?????");
    EXPECT_EQ(wide(string("\xC3\xA9\xE2\x82")), L"????");
    EXPECT_EQ(wide(string("\x80")), L"?");
    EXPECT_EQ(wide(string("a good long beginning and a bad end \xC3")), std::wstring(37, L'?'));
    EXPECT_EQ(wide(string("\xED\xA0\x80")), L"???");
    EXPECT_EQ(wide(string("\xC0\xAF")), L"??");
}

TEST(NarrowToWide, writesNoMoreQuestionMarksThanTheCount)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(wide(string("a\xFF"
                          "cde",
                  3)),
        L"???");
}

TEST(NarrowToWide, writesNoMoreQuestionMarksThanThereAreBytes)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(wide(string("ab\xFF", 50)), L"???");
}

TEST(NarrowToWide, ignoresInvalidBytesAfterTheCount)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(wide(string("abc\xFF", 3)), L"abc");
    EXPECT_EQ(wide(string("abcdefghi\xFF", 8)), L"abcdefgh");
}

TEST(NarrowToWide, endsAtTheFirstZeroByteOfAStandardString)
{
    EXPECT_EQ(wide(string(std::string("abc\0def", 7))), L"abc");
    EXPECT_EQ(wide(string(std::string("\0def", 4))), L"");
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(wide(string(std::string("\xC3\xA9\0\xFF", 4))), L"\u00E9");
}

TEST(NarrowToWide, acceptsOnlyAsciiInTheCLocale)
{
    LocaleScope const locale("C");
    EXPECT_EQ(wide(string("plain ~\\ text")), L"plain ~\\ text");
    EXPECT_EQ(wide(string("caf\xC3\xA9")), L"?????");
    EXPECT_EQ(wide(string("caf\xE9")), L"????");
}

TEST(NarrowToWide, decodesEveryByteOfAnEightBitEncoding)
{
    LocaleScope const locale("ISO-8859-1");
    std::string bytes;
    std::wstring characters;
    for (unsigned code = 1; code < 256; ++code) {
        bytes += static_cast<char>(code);
        characters += static_cast<wchar_t>(code);
    }
    EXPECT_EQ(wide(string(bytes)), characters);
    EXPECT_EQ(wide(string("caf\xE9")), L"caf\u00E9");
}

TEST(NarrowToWide, decodesShiftJis)
{
    LocaleScope const locale("SHIFT_JIS");
    EXPECT_EQ(wide(string("C:\\dir~")), L"C:\u00A5dir\u203E");
    EXPECT_EQ(wide(string("\x95\x5C\x5C")), L"\u8868\u00A5");
    EXPECT_EQ(wide(string("ab\x95")), L"???");
}

TEST(NarrowToWide, decodesANumberSignAsTheLocaleDoes)
{
    LocaleScope const locale("BS_4730");
    EXPECT_EQ(wide(string("a#b~")),
        L"a\u00A3"
        L"b\u203E");
}

TEST(NarrowToWide, agreesWithMbstowcsForEveryLength)
{
    for (char const* name : {"C", "C.UTF-8", "ISO-8859-1", "SHIFT_JIS"}) {
        LocaleScope const locale(name);
        for (size_t length = 1; length < 40; ++length) {
            for (size_t odd = 0; odd <= length; ++odd) {
                std::string bytes(length, 'a');
                if (odd < length)
                    bytes[odd] = '\xE9';
                std::vector<wchar_t> expected(length + 1);
                if (mbstowcs(expected.data(), bytes.c_str(), length) == static_cast<size_t>(-1))
                    expected.assign(length, L'?');
                expected.resize(length + 1);
                EXPECT_EQ(wide(string(bytes)), expected.data()) << name << ' ' << bytes;
            }
        }
    }
}

TEST(NarrowToWide, doesNotChangeTheLocale)
{
    LocaleScope const locale("ISO-8859-1");
    std::string const before = std::setlocale(LC_ALL, nullptr);
    EXPECT_EQ(wide(string("caf\xE9")), L"caf\u00E9");
    static_cast<void>(static_cast<char const*>(string(L"caf\u00E9 \u20AC")));
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), before);
}

TEST(NarrowToWide, freesItsTemporaryBuffer)
{
    LocaleScope const locale("C.UTF-8");
    testkit::AllocationCounter const counter;
    for (char const* text : {"short", "long enough for a block", "bad \xFF", "\xC3\xA9"})
        static_cast<void>(string(text));
    EXPECT_EQ(counter.liveBlocks(), 0);
}

}
