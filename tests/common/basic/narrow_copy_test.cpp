#include "common/basic/wide_string.h"
#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/string_fields.h"
#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <pthread.h>
#include <string>
#include <string_view>
#include <utility>

using dovrel::string;

namespace {

char const* narrowCopy(string const& text)
{
    return text;
}

TEST(NarrowCopy, isNullBeforeTheFirstConversion)
{
    EXPECT_EQ(fieldsOf(string()).narrow, nullptr);
    EXPECT_EQ(fieldsOf(string(L"text")).narrow, nullptr);
    EXPECT_EQ(fieldsOf(string("text")).narrow, nullptr);
}

TEST(NarrowCopy, isOwnedByTheString)
{
    string const text(L"text");
    char const* const copy = narrowCopy(text);
    EXPECT_STREQ(copy, "text");
    EXPECT_EQ(fieldsOf(text).narrow, copy);
}

TEST(NarrowCopy, ofAnEmptyStringIsEmptyAndNotNull)
{
    string const text;
    ASSERT_NE(narrowCopy(text), nullptr);
    EXPECT_STREQ(narrowCopy(text), "");
    EXPECT_STREQ(string::basic_char_string().c_str(), "");
}

TEST(NarrowCopy, isReallocatedOnEachConversion)
{
    string const text(L"the same text");
    char const* const first = narrowCopy(text);
    std::string const bytes = first;
    testkit::AllocationCounter const counter;
    char const* const second = narrowCopy(text);
    size_t const calls = counter.calls();
    EXPECT_GE(calls, 1U);
    EXPECT_EQ(counter.liveBlocks(), 0);
    EXPECT_NE(second, first);
    EXPECT_EQ(second, bytes);
}

TEST(NarrowCopy, isAllocatedAsAnArray)
{
    string const text(L"text");
    testkit::AllocationCounter const counter;
    static_cast<void>(narrowCopy(text));
    bool const isArray = testkit::AllocationCounter::latestWasArray();
    EXPECT_TRUE(isArray);
    EXPECT_EQ(counter.liveBlocks(), 1);
}

TEST(NarrowCopy, followsTheStringAndTheLocale)
{
    string text(L"caf\u00E9");
    {
        LocaleScope const locale("C.UTF-8");
        EXPECT_STREQ(narrowCopy(text), "caf\xC3\xA9");
    }
    {
        LocaleScope const locale("ISO-8859-1");
        EXPECT_STREQ(narrowCopy(text), "caf\xE9");
    }
    LocaleScope const locale("C");
    EXPECT_STREQ(narrowCopy(text), "caf?");
    text = L"bar";
    EXPECT_STREQ(narrowCopy(text), "bar");
    text += string(L"\u20AC");
    EXPECT_STREQ(narrowCopy(text), "bar?");
}

TEST(NarrowCopy, isEncodedInShiftJis)
{
    LocaleScope const locale("SHIFT_JIS");
    EXPECT_STREQ(narrowCopy(string(L"\u8868\u00A5")), "\x95\x5C\x5C");
    EXPECT_STREQ(narrowCopy(string("C:\\dir~")), "C:\\dir~");
}

TEST(NarrowCopy, replacesAsciiCharactersThatTheLocaleLacks)
{
    LocaleScope const locale("BS_4730");
    EXPECT_STREQ(narrowCopy(string(L"a#b~")), "a?b?");
    EXPECT_STREQ(narrowCopy(string(L"\u00A3 1")), "\x23 1");
}

TEST(NarrowCopy, encodesACharacterBeyondAsciiAtEveryPosition)
{
    for (char const* name : {"C", "C.UTF-8", "ISO-8859-1"}) {
        LocaleScope const locale(name);
        char const* const odd = std::string_view(name) == "C" ? "?"
            : std::string_view(name) == "C.UTF-8"             ? "\xC3\xA9"
                                                              : "\xE9";
        for (size_t length = 1; length < 20; ++length) {
            for (size_t at = 0; at < length; ++at) {
                std::wstring content(length, L'a');
                content[at] = L'\u00E9';
                std::string const expected =
                    std::string(at, 'a') + odd + std::string(length - at - 1, 'a');
                EXPECT_EQ(narrowCopy(string(content.c_str())), expected) << name;
            }
        }
    }
}

TEST(NarrowCopy, encodesStringsOfEveryLengthInEachLocale)
{
    std::wstring content;
    for (int round = 0; round < 60; ++round) {
        content += round % 7 == 3 ? L'\u20AC' : static_cast<wchar_t>(L'a' + round % 26);
        string const text(content.c_str());
        for (char const* name : {"C", "C.UTF-8", "ISO-8859-1"}) {
            LocaleScope const locale(name);
            std::string expected;
            for (wchar_t const c : content)
                if (c != L'\u20AC')
                    expected += static_cast<char>(c);
                else
                    expected += std::string_view(name) == "C.UTF-8" ? "\xE2\x82\xAC" : "?";
            EXPECT_EQ(std::string(narrowCopy(text)), expected) << name;
        }
    }
}

TEST(NarrowCopy, roundTripsInUtf8)
{
    LocaleScope const locale("C.UTF-8");
    for (wchar_t const* content : {L"plain", L"caf\u00E9", L"\u20AC\u8868", L"\U0001F600",
             L"\U0010FFFF mixed \u00E9 and long enough for a block"}) {
        string const text(content);
        EXPECT_STREQ(string(narrowCopy(text)).c_str(), content);
        EXPECT_STREQ(string(std::string(narrowCopy(text))).c_str(), content);
    }
}

TEST(NarrowCopy, isAllocatedInItsExactSize)
{
    for (char const* name : {"C", "C.UTF-8", "ISO-8859-1", "SHIFT_JIS"}) {
        LocaleScope const locale(name);
        for (size_t length : {1, 7, 8, 60, 255, 256, 300, 5000}) {
            for (wchar_t const other : {L'b', L'\u00A5', L'\u20AC'}) {
                std::wstring content(length, L'a');
                content[length / 2] = other;
                string const text(content.c_str());
                testkit::AllocationCounter const counter;
                char const* const copy = narrowCopy(text);
                size_t const size = testkit::AllocationCounter::latestSize();
                long const blocks = counter.liveBlocks();
                EXPECT_EQ(size, std::strlen(copy) + 1) << name << ' ' << length;
                EXPECT_EQ(blocks, 1);
            }
        }
    }
}

TEST(NarrowCopy, includesALastCharacterThatTheEncodingHoldsBack)
{
    LocaleScope const locale("BIG5-HKSCS");
    EXPECT_STREQ(narrowCopy(string(L"\u00CA")), "\x88\x66");
    EXPECT_STREQ(narrowCopy(string(L"a\u00CA\u0304")), "a\x88\x62");
    for (size_t before : {31, 300, 1000}) {
        std::wstring const content = std::wstring(before, L'a') + L"\u00CA";
        EXPECT_EQ(narrowCopy(string(content.c_str())), std::string(before, 'a') + "\x88\x66");
    }
}

TEST(NarrowCopy, isCopiedByteForByteWithTheString)
{
    string const source(L"caf\u00E9");
    {
        LocaleScope const locale("ISO-8859-1");
        ASSERT_STREQ(narrowCopy(source), "caf\xE9");
    }
    // A conversion in this locale would return the two bytes C3 A9.
    LocaleScope const locale("C.UTF-8");
    testkit::AllocationCounter const counter;
    string const copied(source);
    size_t const calls = counter.calls();
    size_t const size = testkit::AllocationCounter::latestSize();
    EXPECT_EQ(calls, 1U);
    EXPECT_EQ(size, 5U);
    ASSERT_NE(fieldsOf(copied).narrow, nullptr);
    EXPECT_NE(fieldsOf(copied).narrow, fieldsOf(source).narrow);
    EXPECT_STREQ(fieldsOf(copied).narrow, "caf\xE9");
    EXPECT_STREQ(narrowCopy(copied), "caf\xC3\xA9");
}

TEST(NarrowCopy, isEmptyInTheCopyOfAStringWithoutOne)
{
    string const source(L"text");
    string const copied(source);
    char const* const copy = fieldsOf(copied).narrow;
    EXPECT_TRUE(!copy || *copy == '\0');
    EXPECT_STREQ(narrowCopy(copied), "text");
}

TEST(NarrowCopy, movesWithTheString)
{
    string source(L"text");
    char const* const copy = narrowCopy(source);
    string const moved(std::move(source));
    EXPECT_EQ(fieldsOf(moved).narrow, copy);
    EXPECT_EQ(fieldsOf(source).narrow, nullptr);
}

/** Converts 1 MiB of characters that the C locale lacks; runs on a small stack. */
void* convertHugeString(void* result)
{
    constexpr size_t LENGTH = 1024 * 1024 / sizeof(wchar_t);
    string const text(std::wstring(LENGTH, L'\u20AC').c_str());
    *static_cast<std::string*>(result) = narrowCopy(text);
    return nullptr;
}

TEST(NarrowCopy, ofAHugeStringNeedsLittleStack)
{
    LocaleScope const locale("C");
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    std::string result;
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, convertHugeString, &result), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
    EXPECT_EQ(result.length(), 262144U);
    EXPECT_EQ(result.find_first_not_of('?'), std::string::npos);
}

}
