// Comparisons of a string with other string types. Compiled for each C++ standard that hosts use,
// because C++20 adds candidates with swapped operands.

#include "common/basic/wide_string.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

using dovrel::basic_string;
using dovrel::string;

namespace {

/** Checks six operators. @param order negative, zero or positive, as `compare` returns it. */
template <class A, class B> void expectOrder(A const& a, B const& b, int order)
{
    EXPECT_EQ(a == b, order == 0);
    EXPECT_EQ(a != b, order != 0);
    EXPECT_EQ(a < b, order < 0);
    EXPECT_EQ(a > b, order > 0);
    EXPECT_EQ(a <= b, order <= 0);
    EXPECT_EQ(a >= b, order >= 0);
}

template <class A, class B> void expectOrderBothWays(A const& a, B const& b, int order)
{
    expectOrder(a, b, order);
    expectOrder(b, a, -order);
}

template <class Text> void expectOrderOfEachType(Text const& text, char const* other, int order)
{
    std::string narrow = other;
    std::wstring wide(narrow.begin(), narrow.end());
    expectOrderBothWays(text, narrow, order);
    expectOrderBothWays(text, narrow.c_str(), order);
    expectOrderBothWays(text, narrow.data(), order);
    expectOrderBothWays(text, wide.c_str(), order);
    expectOrderBothWays(text, wide.data(), order);
    expectOrderBothWays(text, string(other), order);
    expectOrderBothWays(text, basic_string(wide.c_str()), order);
}

template <class Text> void expectOrderOfEachString()
{
    char const* const ascending[] = {
        "", "/dev/sd", "/dev/sda", "/dev/sda1 with a longer name", "/dev/sdb"};
    for (int i = 0; i < 5; ++i)
        for (int j = 0; j < 5; ++j)
            expectOrderOfEachType(Text(string(ascending[i])), ascending[j], i - j);
}

template <class A, class B, class = void> struct IsComparable : std::false_type {
};
template <class A, class B>
struct IsComparable<A, B, std::void_t<decltype(std::declval<A>() == std::declval<B>())>>
    : std::true_type {
};

}

TEST(StringComparison, supportsEveryStringType)
{
    expectOrderOfEachString<string>();
    expectOrderOfEachString<basic_string>();
}

TEST(StringComparison, acceptsLiterals)
{
    string const text("text");
    EXPECT_TRUE(text == "text" && "text" == text && text == L"text" && L"text" == text);
    EXPECT_FALSE(text != "text" || "text" != text || text != L"text" || L"text" != text);
    EXPECT_TRUE(text < "texts" && "tex" < text && text < L"texts" && L"tex" < text);
    EXPECT_TRUE("text" == string("text") && string("text") == std::string("text"));
    EXPECT_EQ(text, "text");
    EXPECT_EQ(L"text", text);
}

TEST(StringComparison, treatsANullPointerAsEmpty)
{
    char const* const narrow = nullptr;
    wchar_t const* const wide = nullptr;
    expectOrderBothWays(string(), narrow, 0);
    expectOrderBothWays(string(), wide, 0);
    expectOrderBothWays(string("a"), narrow, 1);
    expectOrderBothWays(string("a"), wide, 1);
}

TEST(StringComparison, rejectsNullptr)
{
    EXPECT_FALSE((IsComparable<string, std::nullptr_t>::value));
    EXPECT_FALSE((IsComparable<std::nullptr_t, string>::value));
    EXPECT_TRUE((IsComparable<string, char const*>::value));
}

TEST(StringComparison, convertsNarrowStringsAsTheConstructorDoes)
{
    // In the C locale each byte of this string becomes a question mark.
    expectOrderBothWays(string(L"????"), "a\xC3\xA9z", 0);
    expectOrderBothWays(string("a"), std::string("a\0b", 3), 0);
}

TEST(StringComparison, comparesWideCharacterCodes)
{
    wchar_t const codes[] = {static_cast<wchar_t>(0x80000000), -1, 1, L'a', L'\u00E9', L'\u20AC',
        L'\U0010FFFF', 0x7FFFFFFF};
    for (wchar_t const a : codes) {
        for (wchar_t const b : codes) {
            wchar_t const left[] = {L'x', a, 0};
            wchar_t const right[] = {L'x', b, 0};
            int const order = string(left).compare(string(right));
            expectOrder(string(left), static_cast<wchar_t const*>(right), order);
            expectOrder(static_cast<wchar_t const*>(left), string(right), order);
        }
    }
}

TEST(StringComparison, keepsTheNarrowCopy)
{
    string const text("text");
    char const* const narrow = text;
    EXPECT_TRUE(text == "text" && text < L"texts" && text == std::string("text"));
    EXPECT_STREQ(narrow, "text");
}

TEST(StringComparison, ordersAShorterStringBeforeALongerOneWithTheSameBeginning)
{
    wchar_t const shorter[] = {static_cast<wchar_t>(0x80000000), 0};
    wchar_t const longer[] = {static_cast<wchar_t>(0x80000000), -1, 0};
    expectOrderBothWays(string(shorter), static_cast<wchar_t const*>(longer), -1);
    expectOrderBothWays(string(longer), static_cast<wchar_t const*>(shorter), 1);
}

// The standard library compares these with operator<=> if it exists, and with < otherwise.
TEST(StringComparison, ordersPairsTuplesAndVectorsOfStringsByTheirCharacters)
{
    string const a("same");
    string const b("same");
    string const c("tame");
    (void)static_cast<char const*>(a); // The addresses of the narrow copies differ.
    (void)static_cast<char const*>(b);
    EXPECT_FALSE(std::make_pair(a, 1) < std::make_pair(b, 1));
    EXPECT_FALSE(std::make_pair(b, 1) < std::make_pair(a, 1));
    EXPECT_TRUE(std::make_pair(a, 2) < std::make_pair(c, 1));
    EXPECT_FALSE(
        std::make_tuple(a) < std::make_tuple(b) || std::make_tuple(b) < std::make_tuple(a));
    std::set<std::vector<string>> set;
    for (int i = 0; i < 7; ++i)
        set.insert({string("same"), string("text")});
    EXPECT_EQ(set.size(), 1U);
}

#if __cplusplus >= 202002L
TEST(StringComparison, supportsThreeWayComparison)
{
    string const a("b");
    EXPECT_TRUE((a <=> string("b")) == 0);
    EXPECT_TRUE((a <=> "c") < 0);
    EXPECT_TRUE((L"c" <=> a) > 0);
    EXPECT_TRUE((std::string("a") <=> a) < 0);
}
#endif
