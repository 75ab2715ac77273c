#include "common/basic/wide_string.h"
#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/string_fields.h"
#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <cwchar>
#include <iomanip>
#include <map>
#include <sstream>
#include <type_traits>
#include <utility>
#include <vector>

using dovrel::string;
using testkit::AllocationCounter;

namespace {

TEST(String, copiesIntoItsOwnBuffers)
{
    string const source(L"long enough for a block");
    string copied(source);
    EXPECT_NE(copied.c_str(), source.c_str());
    copied = L"changed";
    EXPECT_STREQ(source.c_str(), L"long enough for a block");
    EXPECT_STREQ(copied.c_str(), L"changed");
    string assigned(L"former");
    assigned = source;
    EXPECT_STREQ(assigned.c_str(), L"long enough for a block");
    EXPECT_NE(assigned.c_str(), source.c_str());
}

TEST(String, movesALongStringWithoutAllocating)
{
    string source(L"long enough for a block");
    wchar_t const* const block = source.c_str();
    AllocationCounter const counter;
    string moved(std::move(source));
    EXPECT_EQ(counter.calls(), 0U);
    EXPECT_EQ(moved.c_str(), block);
    EXPECT_STREQ(moved.c_str(), L"long enough for a block");
    source = L"in use again, and long enough";
    EXPECT_STREQ(source.c_str(), L"in use again, and long enough");
    EXPECT_STREQ(moved.c_str(), L"long enough for a block");
}

TEST(String, movesWithoutThrowing)
{
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<string>);
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<string>);
    EXPECT_TRUE(std::is_nothrow_default_constructible_v<string>);
}

TEST(String, movesByAssignmentBetweenShortAndLong)
{
    for (wchar_t const* from : {L"", L"short", L"long enough for a block"}) {
        for (wchar_t const* to : {L"", L"other", L"also long enough for a block"}) {
            string source(from);
            string target(to);
            target = std::move(source);
            EXPECT_STREQ(target.c_str(), from);
            EXPECT_EQ(target.length(), std::wstring(from).length());
        }
    }
}

// Not the operators of `string`, which also keep the narrow copy up to date.
TEST(BasicString, isAssignedAppendedAndSwapped)
{
    dovrel::basic_string a;
    a = L"long enough for a block";
    EXPECT_STREQ(a.c_str(), L"long enough for a block");
    dovrel::basic_string b(L"short");
    b += a;
    EXPECT_STREQ(b.c_str(), L"shortlong enough for a block");
    b += b;
    EXPECT_EQ(b.length(), 56U);
    b = L"";
    EXPECT_TRUE(b.empty());
    swap(a, b);
    EXPECT_TRUE(a.empty());
    EXPECT_STREQ(b.c_str(), L"long enough for a block");
}

TEST(BasicString, isEmptyAfterItsTextWasMoved)
{
    dovrel::basic_string source(L"long enough for a block");
    dovrel::basic_string const moved(std::move(source));
    EXPECT_STREQ(moved.c_str(), L"long enough for a block");
    EXPECT_TRUE(source.empty());
    EXPECT_EQ(source.length(), 0U);
    EXPECT_STREQ(source.c_str(), L"");
}

TEST(BasicString, endsACopyWithATerminator)
{
    dovrel::basic_string const source(L"long enough for a block");
    size_t const size = source.length() + 1;
    auto* const former = new wchar_t[size];
    std::wmemset(former, L'#', size);
    delete[] former; // The next block of this size has its contents.
    dovrel::basic_string const copied(source);
    EXPECT_EQ(copied.c_str()[source.length()], L'\0');
}

TEST(BasicString, appendsToAShortTextInTheBlockOfAFormerLongOne)
{
    dovrel::basic_string text(L"long enough for a block");
    text = L"short";
    AllocationCounter const counter;
    text += dovrel::basic_string(L" text");
    EXPECT_STREQ(text.c_str(), L"short text");
    EXPECT_EQ(counter.calls(), 0U);
}

TEST(String, swapsShortAndLongStrings)
{
    string a(L"short");
    string b(L"long enough for a block");
    static_cast<void>(static_cast<char const*>(a));
    char const* const narrowOfA = fieldsOf(a).narrow;
    AllocationCounter const counter;
    a.swap(b);
    EXPECT_STREQ(a.c_str(), L"long enough for a block");
    EXPECT_STREQ(b.c_str(), L"short");
    EXPECT_EQ(a.length(), 23U);
    EXPECT_EQ(b.length(), 5U);
    EXPECT_EQ(fieldsOf(b).narrow, narrowOfA);
    swap(a, b);
    EXPECT_STREQ(a.c_str(), L"short");
    EXPECT_EQ(counter.calls(), 0U);
}

TEST(String, isAssignedFromEveryStringType)
{
    LocaleScope const locale("C.UTF-8");
    string text;
    text = L"wide \u20AC";
    EXPECT_STREQ(text.c_str(), L"wide \u20AC");
    text = "narrow \xE2\x82\xAC";
    EXPECT_STREQ(text.c_str(), L"narrow \u20AC");
    text = std::string("standard \xE2\x82\xAC");
    EXPECT_STREQ(text.c_str(), L"standard \u20AC");
    text = string(L"own");
    EXPECT_STREQ(text.c_str(), L"own");
    text = static_cast<char const*>(nullptr);
    EXPECT_TRUE(text.empty());
}

TEST(String, concatenatesInOrder)
{
    wchar_t const* const texts[] = {L"", L"a", L"1234567", L"12345678", L"a much longer text"};
    for (wchar_t const* a : texts) {
        for (wchar_t const* b : texts) {
            std::wstring const expected = std::wstring(a) + b;
            string const joined = string(a) + string(b);
            EXPECT_STREQ(joined.c_str(), expected.c_str());
            EXPECT_EQ(joined.length(), expected.length());
            string appended(a);
            appended += string(b);
            EXPECT_STREQ(appended.c_str(), expected.c_str());
            EXPECT_EQ(appended.length(), expected.length());
        }
    }
}

TEST(String, canBeAppendedToItself)
{
    string text(L"abc");
    std::wstring expected(L"abc");
    for (int round = 0; round < 5; ++round) {
        text += text;
        expected += expected;
        EXPECT_STREQ(text.c_str(), expected.c_str());
        EXPECT_EQ(text.length(), expected.length());
    }
}

TEST(String, canBeAssignedAConcatenationWithItself)
{
    string text(L"middle");
    text = string(L"before ") + text;
    text = text + string(L" after");
    EXPECT_STREQ(text.c_str(), L"before middle after");
}

TEST(String, isOrderedByWideCharacterCode)
{
    std::vector<string> const ascending{string(), string(L"A"), string(L"AB"), string(L"B"),
        string(L"a"), string(L"a text longer than the room"),
        string(L"a text longer than the room inside"), string(L"b"), string(L"\u00E9"),
        string(L"\u20AC"), string(L"\U0001F600")};
    for (size_t i = 0; i < ascending.size(); ++i) {
        for (size_t j = 0; j < ascending.size(); ++j) {
            EXPECT_EQ(ascending[i] < ascending[j], i < j) << i << ' ' << j;
            EXPECT_EQ(ascending[i] == ascending[j], i == j) << i << ' ' << j;
            EXPECT_EQ(ascending[i] != ascending[j], i != j) << i << ' ' << j;
            EXPECT_EQ(ascending[i].compare(ascending[j]) < 0, i < j) << i << ' ' << j;
            EXPECT_EQ(ascending[i].compare(ascending[j]) == 0, i == j) << i << ' ' << j;
        }
    }
}

TEST(String, ignoresTheNarrowCopyAndTheBlockInComparisons)
{
    string kept(L"long enough for a block");
    kept = L"same";
    string const other(L"same");
    static_cast<void>(static_cast<char const*>(other));
    EXPECT_TRUE(kept == other);
    EXPECT_FALSE(kept < other);
    EXPECT_FALSE(other < kept);
}

TEST(String, canBeAMapKey)
{
    std::map<string, int> numbers;
    numbers[L"/dev/sdb"] = 2;
    numbers[L"/dev/sda"] = 1;
    numbers[L"/dev/sda1 with a longer name"] = 3;
    numbers["/dev/sda"] += 10;
    ASSERT_EQ(numbers.size(), 3U);
    EXPECT_EQ(numbers.begin()->second, 11);
    EXPECT_EQ(numbers.rbegin()->second, 2);
    EXPECT_EQ(numbers.count(string(std::string("/dev/sdb"))), 1U);
    EXPECT_EQ(numbers.count(L"/dev/sd"), 0U);
}

TEST(StringStream, writesWideStringsWithoutPadding)
{
    for (wchar_t const* content : {L"", L"a\u20ACb", L"long enough \U0001F600 for a block"}) {
        std::wostringstream out;
        out << std::setw(40) << std::setfill(L'*') << string(content);
        EXPECT_EQ(out.str(), content);
    }
}

TEST(StringStream, writesTheNarrowCopyWithoutPadding)
{
    LocaleScope const locale("C.UTF-8");
    std::ostringstream out;
    out << std::setw(40) << std::setfill('*') << string(L"a\u20ACb") << string();
    EXPECT_EQ(out.str(),
        "a\xE2\x82\xAC"
        "b");
}

TEST(StringStream, writesAQuestionMarkForACharacterThatTheLocaleLacks)
{
    LocaleScope const locale("C");
    std::ostringstream out;
    out << string(L"a\u20ACb");
    EXPECT_EQ(out.str(), "a?b");
}

}
