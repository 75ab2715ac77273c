#include "common/basic/wide_string.h"
#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/string_fields.h"
#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

using dovrel::string;
using testkit::AllocationCounter;

namespace {

bool livesInside(string const& text)
{
    return static_cast<void const*>(text.c_str()) == static_cast<void const*>(&text);
}

TEST(StringStorage, hasTheSizeThatHostsWereCompiledWith)
{
    EXPECT_EQ(sizeof(string), sizeof(void*) == 4 ? 48U : 56U);
    EXPECT_EQ(sizeof(dovrel::basic_string), sizeof(void*) == 4 ? 44U : 48U);
    EXPECT_EQ(sizeof(string::basic_char_string), sizeof(char*));
}

TEST(StringStorage, isEmptyByDefaultAndAllocatesNothing)
{
    AllocationCounter const counter;
    string const text;
    EXPECT_EQ(counter.calls(), 0U);
    EXPECT_EQ(text.length(), 0U);
    EXPECT_EQ(text.capacity(), 0U);
    EXPECT_TRUE(text.empty());
    EXPECT_STREQ(text.c_str(), L"");
}

TEST(StringStorage, keepsSevenCharactersInsideTheObject)
{
    AllocationCounter const counter;
    string const text(L"seven77");
    size_t const calls = counter.calls();
    EXPECT_EQ(calls, 0U);
    EXPECT_TRUE(livesInside(text));
    EXPECT_EQ(fieldsOf(text).heap, nullptr);
    EXPECT_EQ(text.length(), 7U);
    EXPECT_STREQ(text.c_str(), L"seven77");
}

TEST(StringStorage, allocatesNineElementsForEightCharacters)
{
    AllocationCounter const counter;
    string const text(L"eight888");
    size_t const calls = counter.calls();
    size_t const size = AllocationCounter::latestSize();
    bool const isArray = AllocationCounter::latestWasArray();
    EXPECT_EQ(calls, 1U);
    EXPECT_EQ(size, 9 * sizeof(wchar_t));
    EXPECT_TRUE(isArray);
    EXPECT_EQ(text.c_str(), fieldsOf(text).heap);
    EXPECT_EQ(fieldsOf(text).small[0], L'\0');
    EXPECT_EQ(text.capacity(), 8U);
    EXPECT_STREQ(text.c_str(), L"eight888");
}

TEST(StringStorage, reusesItsHeapBlockForLaterStringsKept)
{
    string text(L"twenty characters 20");
    ASSERT_EQ(text.length(), 20U);
    wchar_t const* const block = text.c_str();
    AllocationCounter const counter;

    text = L"abc";
    EXPECT_TRUE(livesInside(text));
    EXPECT_STREQ(text.c_str(), L"abc");
    EXPECT_EQ(text.length(), 3U);
    EXPECT_EQ(text.capacity(), 20U);
    EXPECT_EQ(fieldsOf(text).heap, block);
    EXPECT_EQ(block[0], L'\0');

    text = L"fifteen letters";
    EXPECT_EQ(text.length(), 15U);
    EXPECT_EQ(text.c_str(), block);
    EXPECT_STREQ(text.c_str(), L"fifteen letters");
    EXPECT_EQ(text.capacity(), 20U);

    text = L"twenty CHARACTERS 20";
    EXPECT_EQ(text.c_str(), block);
    EXPECT_STREQ(text.c_str(), L"twenty CHARACTERS 20");
    EXPECT_EQ(counter.calls(), 0U);
    EXPECT_EQ(counter.liveBlocks(), 0);
}

TEST(StringStorage, reusesItsHeapBlockForEveryStringType)
{
    string text(L"twenty characters 20");
    wchar_t const* const block = text.c_str();
    std::string const standard("fifteen-letters");
    string shortSource(L"abc");
    string longSource(L"sixteen letters!");
    AllocationCounter const counter;

    text = "abc";
    EXPECT_EQ(text.capacity(), 20U);
    text = "fifteen letters";
    EXPECT_EQ(text.c_str(), block);
    EXPECT_STREQ(text.c_str(), L"fifteen letters");
    text = standard;
    EXPECT_EQ(text.c_str(), block);
    EXPECT_STREQ(text.c_str(), L"fifteen-letters");
    text = std::move(shortSource);
    EXPECT_EQ(text.capacity(), 20U);
    EXPECT_STREQ(text.c_str(), L"abc");
    text = std::move(longSource);
    EXPECT_EQ(text.c_str(), block);
    EXPECT_STREQ(text.c_str(), L"sixteen letters!");
    EXPECT_EQ(counter.calls(), 0U);
}

TEST(StringStorage, reusesItsHeapBlockForConvertedStrings)
{
    LocaleScope const locale("C.UTF-8");
    string text(std::wstring(200, L'x').c_str());
    wchar_t const* const block = text.c_str();
    std::string euros;
    while (euros.size() < 3 * 150)
        euros += "\xE2\x82\xAC";
    text = euros;
    EXPECT_EQ(text.c_str(), block);
    EXPECT_EQ(text.capacity(), 200U);
    EXPECT_EQ(text.c_str(), std::wstring(150, L'\u20AC'));
}

TEST(StringStorage, keepsItsHeapBlockWhenEmptied)
{
    string text(L"a text that needs a block");
    AllocationCounter const counter;
    text = L"";
    EXPECT_TRUE(text.empty());
    EXPECT_STREQ(text.c_str(), L"");
    EXPECT_EQ(text.capacity(), 25U);
    EXPECT_EQ(counter.liveBlocks(), 0);
    EXPECT_TRUE(text == string());
    EXPECT_STREQ(static_cast<char const*>(text), "");
}

TEST(StringStorage, ignoresItsHeapBlockWhileTheStringIsShort)
{
    string text(L"the former, longer text");
    text = L"now";
    string const copied(text);
    string const joined = text + text;
    EXPECT_STREQ(copied.c_str(), L"now");
    EXPECT_EQ(copied.capacity(), 3U);
    EXPECT_STREQ(joined.c_str(), L"nownow");
    EXPECT_STREQ(static_cast<char const*>(text), "now");
    EXPECT_TRUE(text == string(L"now"));
}

TEST(StringStorage, replacesABlockThatIsTooSmall)
{
    string text(L"twenty characters 20");
    AllocationCounter const counter;
    text = L"twenty-one characters";
    size_t const calls = counter.calls();
    size_t const size = AllocationCounter::latestSize();
    EXPECT_EQ(calls, 1U);
    EXPECT_EQ(size, 22 * sizeof(wchar_t));
    EXPECT_EQ(counter.liveBlocks(), 0);
    EXPECT_EQ(text.capacity(), 21U);
    EXPECT_STREQ(text.c_str(), L"twenty-one characters");
}

TEST(StringStorage, reusesTheBlockOfAnAppendedString)
{
    string text(L"long enough for a block");
    text += string(L" and then some");
    std::wstring const content(text.capacity(), L'x');
    ASSERT_GE(content.length(), 37U);
    wchar_t const* const block = text.c_str();
    AllocationCounter const counter;
    text = content.c_str();
    EXPECT_EQ(counter.calls(), 0U);
    EXPECT_EQ(text.c_str(), block);
    EXPECT_EQ(text.c_str(), content);
}

TEST(StringStorage, movesToTheHeapAtTheEighthCharacter)
{
    string text;
    string expected;
    for (wchar_t letter = L'a'; letter <= L'z'; ++letter) {
        wchar_t const one[] = {letter, L'\0'};
        text += string(one);
        EXPECT_EQ(livesInside(text), text.length() <= 7) << text.length();
        EXPECT_EQ(text.c_str()[text.length() - 1], letter);
        EXPECT_EQ(text.c_str()[text.length()], L'\0');
    }
    EXPECT_STREQ(text.c_str(), L"abcdefghijklmnopqrstuvwxyz");
}

TEST(StringStorage, copiesNoMoreCharactersThanTheCount)
{
    EXPECT_STREQ(string(L"abcdef", 3).c_str(), L"abc");
    EXPECT_EQ(string(L"abcdef", 3).length(), 3U);
    EXPECT_STREQ(string(L"abcdef", 0).c_str(), L"");
    EXPECT_STREQ(string(L"abcdef", 6).c_str(), L"abcdef");
    EXPECT_EQ(string(L"ab", 3).length(), 2U);
    EXPECT_EQ(string(L"", 3).length(), 0U);
    EXPECT_EQ(string(L"abcdef", 100).length(), 6U);
    EXPECT_EQ(string(L"abcdef", 0xFFFFFFFE).length(), 6U);
    EXPECT_EQ(string(L"abcdef", 0xFFFFFFFF).length(), 6U);
    EXPECT_STREQ(string(L"abcdefghijkl", 8).c_str(), L"abcdefgh");
    EXPECT_EQ(string(L"abcdefghijkl", 8).capacity(), 8U);
}

TEST(StringStorage, endsAtTheFirstZeroCharacter)
{
    string const text(L"abc\0def", 7);
    EXPECT_EQ(text.length(), 3U);
    EXPECT_STREQ(text.c_str(), L"abc");
}

TEST(StringStorage, treatsNullAsEmpty)
{
    wchar_t const* const none = nullptr;
    EXPECT_TRUE(string(none).empty());
    EXPECT_TRUE(string(none, 5).empty());
    EXPECT_STREQ(string(none).c_str(), L"");
    string text(L"a text that needs a block");
    text.Allocate_Memory_Or_Use_Small_Buffer(nullptr, 4);
    EXPECT_TRUE(text.empty());
    text = L"some";
    text = none;
    EXPECT_TRUE(text.empty());
}

TEST(StringStorage, acceptsAPartOfItsOwnShortString)
{
    string text(L"abcdefg");
    text = text.c_str() + 2;
    EXPECT_STREQ(text.c_str(), L"cdefg");
    text.Allocate_Memory_Or_Use_Small_Buffer(text.c_str() + 1, 3);
    EXPECT_STREQ(text.c_str(), L"def");
    text.Allocate_Memory_Or_Use_Small_Buffer(text.c_str());
    EXPECT_STREQ(text.c_str(), L"def");
    EXPECT_EQ(text.length(), 3U);
    text = text.c_str() + 3;
    EXPECT_TRUE(text.empty());
}

TEST(StringStorage, acceptsAPartOfItsOwnLongString)
{
    string text(L"abcdefghijklmnopqrstuvwxyz");
    text = text.c_str() + 5;
    EXPECT_STREQ(text.c_str(), L"fghijklmnopqrstuvwxyz");
    text.Allocate_Memory_Or_Use_Small_Buffer(text.c_str() + 1, 10);
    EXPECT_STREQ(text.c_str(), L"ghijklmnop");
    text = text.c_str() + 6;
    EXPECT_STREQ(text.c_str(), L"mnop");
    EXPECT_TRUE(livesInside(text));
    EXPECT_EQ(text.capacity(), 26U);
}

TEST(StringStorage, acceptsItsOwnNarrowCopy)
{
    string text(L"abcdefghijkl");
    text = static_cast<char const*>(text) + 2;
    EXPECT_STREQ(text.c_str(), L"cdefghijkl");
    text = static_cast<char const*>(text);
    EXPECT_STREQ(text.c_str(), L"cdefghijkl");
}

TEST(StringStorage, supportsSelfAssignment)
{
    for (wchar_t const* content : {L"", L"short", L"long enough for a block"}) {
        string text(content);
        string const& same = text;
        text = same;
        EXPECT_STREQ(text.c_str(), content);
        text = std::move(const_cast<string&>(same));
        EXPECT_STREQ(text.c_str(), content);
        text.swap(text);
        EXPECT_STREQ(text.c_str(), content);
    }
}

TEST(StringStorage, freesAllItsMemory)
{
    AllocationCounter const counter;
    {
        string text(L"long enough for a block");
        text = L"even longer, so that there is another block";
        static_cast<void>(static_cast<char const*>(text));
        string copied(text);
        string const moved(std::move(copied));
        text = moved;
        copied = text;
        text += moved;
    }
    EXPECT_EQ(counter.liveBlocks(), 0);
}

}
