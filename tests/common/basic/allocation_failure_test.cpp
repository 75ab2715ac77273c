#include "common/basic/text_cast.h"
#include "common/basic/wide_string.h"
#include "tests/common/basic/locale_scope.h"
#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <functional>
#include <new>
#include <sstream>
#include <string>
#include <string_view>

using dovrel::literal_cast;
using dovrel::str_cast;
using dovrel::string;

namespace {

constexpr wchar_t const* SHORT = L"former";
constexpr wchar_t const* LONG = L"the former text, on the heap";
constexpr wchar_t const* LONGER = L"another text, which is longer than the former one was";

/** Does something with the text that it is given. @return whether the outcome is right. */
using Operation = std::function<bool(string&)>;

/** Allocates nothing itself, as an operation is judged while allocations fail. */
bool is(string const& text, std::wstring_view expected)
{
    return expected == std::wstring_view(text.c_str(), text.length());
}

/** How one try with a failing allocation ended. Noted first and judged later: a failing expectation
 * allocates, too. */
struct Try {
    bool right = false;
    bool thrown = false;
    bool failureHappened = false;
    bool keptFormerText = true;
    bool stillOfUse = true;
    long blocksLost = 0;
};

Try tryWithFailure(size_t n, wchar_t const* former, Operation const& operation)
{
    Try result;
    testkit::AllocationCounter const counter;
    {
        string text(former);
        {
            testkit::FailingAllocation const failing(n);
            try {
                result.right = operation(text);
            } catch (std::bad_alloc const&) {
                result.thrown = true;
            }
            result.failureHappened = failing.hasHappened();
        }
        if (result.thrown) {
            result.keptFormerText = is(text, former);
            text = LONGER;
            result.stillOfUse = is(text, LONGER) && *static_cast<char const*>(text) == 'a';
        }
    }
    result.blocksLost = counter.liveBlocks();
    return result;
}

/**
 * Does @p operation with its first allocation failing, with its second failing, and so on until
 * none fails.
 *
 * Each time it must either throw or be right all the same; a text that it has thrown out of must be
 * what it was and be of use.
 */
void failEachAllocation(wchar_t const* former, Operation const& operation)
{
    string warmUp(former); // A stream's first use fills caches that stay.
    ASSERT_TRUE(operation(warmUp));
    size_t n = 0;
    for (bool failed = true; failed;) {
        SCOPED_TRACE("allocation " + std::to_string(++n));
        ASSERT_LT(n, 100U);
        Try const result = tryWithFailure(n, former, operation);
        failed = result.failureHappened;
        EXPECT_TRUE(result.thrown || result.right) << "a wrong outcome and no exception";
        EXPECT_TRUE(failed || !result.thrown);
        EXPECT_TRUE(result.keptFormerText);
        EXPECT_TRUE(result.stillOfUse);
        EXPECT_EQ(result.blocksLost, 0);
    }
    EXPECT_GE(n, 2U) << "nothing was allocated, so nothing was tried";
}

TEST(AllocationFailure, duringWideAssignmentKeepsTheString)
{
    for (wchar_t const* former : {SHORT, LONG}) {
        failEachAllocation(former, [](string& text) {
            text = LONGER;
            return is(text, LONGER);
        });
        failEachAllocation(former, [](string& text) {
            text.Allocate_Memory_Or_Use_Small_Buffer(LONGER, 40);
            return is(text, std::wstring_view(LONGER, 40));
        });
    }
}

TEST(AllocationFailure, duringNarrowAssignmentKeepsTheString)
{
    LocaleScope const locale("C.UTF-8");
    std::string const plain(600, 'a');
    std::string const euros = "\xE2\x82\xAC" + plain;
    std::string const bad = plain + '\xFF';
    std::wstring const widePlain(600, L'a');
    std::wstring const wideEuros = L"\u20AC" + widePlain;
    std::wstring const questionMarks(601, L'?');
    for (wchar_t const* former : {SHORT, LONG}) {
        failEachAllocation(former, [&](string& text) {
            text = plain.c_str();
            return is(text, widePlain);
        });
        failEachAllocation(former, [&](string& text) {
            text = euros;
            return is(text, wideEuros);
        });
        failEachAllocation(former, [&](string& text) {
            text = bad;
            return is(text, questionMarks);
        });
    }
}

TEST(AllocationFailure, duringConstructionLeaksNothing)
{
    std::string const plain(600, 'a');
    std::wstring const widePlain(600, L'a');
    failEachAllocation(SHORT, [](string&) { return is(string(LONGER), LONGER); });
    failEachAllocation(SHORT, [&](string&) { return is(string(plain.c_str()), widePlain); });
    failEachAllocation(SHORT, [&](string&) { return is(string(plain), widePlain); });
}

TEST(AllocationFailure, duringACopyWithANarrowCopyKeepsTheString)
{
    string const source(LONGER);
    std::string const narrow = static_cast<char const*>(source);
    failEachAllocation(SHORT, [&](string&) {
        string const copied(source);
        return is(copied, LONGER);
    });
    failEachAllocation(LONG, [&](string& text) {
        text = source;
        return is(text, LONGER);
    });
    failEachAllocation(SHORT, [](string& text) {
        static_cast<void>(static_cast<char const*>(text));
        string const copied(text);
        return is(copied, SHORT);
    });
}

TEST(AllocationFailure, duringConcatenationKeepsTheString)
{
    string const tail(LONGER);
    for (wchar_t const* former : {SHORT, LONG}) {
        std::wstring const joined = std::wstring(former) + LONGER;
        std::wstring const doubled = std::wstring(former) + former;
        failEachAllocation(former, [&](string& text) { return is(text + tail, joined); });
        failEachAllocation(former, [&](string& text) {
            text += tail;
            return is(text, joined);
        });
        failEachAllocation(former, [&](string& text) {
            text += text;
            return is(text, doubled);
        });
    }
}

TEST(AllocationFailure, duringNarrowConversionKeepsTheString)
{
    LocaleScope const locale("C.UTF-8");
    for (wchar_t const* former :
        {SHORT, LONG, L"\u20AC", L"\u20AC and more, long enough for a block"})
        failEachAllocation(former,
            [former](string& text) { return is(string(static_cast<char const*>(text)), former); });
}

TEST(AllocationFailure, duringNarrowConversionKeepsTheFormerNarrowCopy)
{
    string const text(LONG);
    std::string const before = static_cast<char const*>(text);
    {
        testkit::FailingAllocation const failing(1);
        EXPECT_THROW(static_cast<void>(static_cast<char const*>(text)), std::bad_alloc);
    }
    EXPECT_EQ(static_cast<char const*>(text), before);
}

TEST(AllocationFailure, isThrownByStrCast)
{
    string const a(LONG);
    string const b(LONGER);
    std::wstring const withInt = std::wstring(LONG) + LONGER + L"-5";
    std::wstring const withFloat = std::wstring(LONG) + LONGER + L"12.5";
    failEachAllocation(
        SHORT, [&](string&) { return is(str_cast<int, string, string>(-5, a, b), withInt); });
    failEachAllocation(SHORT,
        [&](string&) { return is(str_cast<float, string, string>(12.5F, a, b), withFloat); });
    failEachAllocation(
        SHORT, [](string&) { return is(str_cast(1234567890123ULL), L"1234567890123"); });
    failEachAllocation(SHORT,
        [](string&) { return is(str_cast(dovrel::macaddress_cpp()), L"00:00:00:00:00:00:00:00"); });
}

TEST(AllocationFailure, doesNotMakeLiteralCastReturnItsDefault)
{
    dovrel::macaddress_cpp fallback;
    fallback[0] = 9;
    dovrel::macaddress_cpp expected;
    expected[5] = 0x1A;
    string const address(L"               00:00:00:00:00:1a");
    failEachAllocation(LONG, [&](string& text) {
        text = L"42, a number with a long text behind it";
        return literal_cast<int>(text, 9) == 42 && literal_cast<long>(text, 9) == 42
            && literal_cast<long long>(text, 9) == 42;
    });
    failEachAllocation(SHORT, [&](string&) { return literal_cast(address, fallback) == expected; });
}

TEST(AllocationFailure, duringStreamInsertionKeepsTheString)
{
    failEachAllocation(LONG, [](string& text) {
        std::ostringstream out; // Reports a failure of its own buffer by its state.
        out << text;
        return !out || out.view() == "the former text, on the heap";
    });
}

}
