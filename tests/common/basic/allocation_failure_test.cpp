#include "common/basic/text_cast.h"
#include "common/basic/wide_string.h"
#include "tests/common/basic/failing_allocations.h"
#include "tests/common/basic/locale_scope.h"

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

/** Changes or uses a string. @return whether the result is right. */
using Operation = std::function<bool(string&)>;

/** Compares without allocating memory. */
bool is(string const& text, std::wstring_view expected)
{
    return expected == std::wstring_view(text.c_str(), text.length());
}

/**
 * Runs @p operation on a string @p former while each allocation fails in turn.
 *
 * Expects @p operation to return true or to throw, and the string to be unchanged and usable after
 * an exception.
 */
void failEachAllocation(wchar_t const* former, Operation const& operation)
{
    testkit::AllocationCounter const counter;
    string warmUp(former);
    size_t const allocationsOfFormer = counter.calls();
    ASSERT_TRUE(operation(warmUp)); // The first use of a stream allocates caches that stay.

    bool right = false;
    bool keptFormer = true;
    bool isUsable = true;
    size_t const runs = testkit::failEachAllocation(
        [&] {
            string text(former);
            try {
                right = operation(text);
            } catch (std::bad_alloc const&) {
                keptFormer = is(text, former);
                text = LONGER;
                isUsable = is(text, LONGER) && *static_cast<char const*>(text) == 'a';
                throw;
            }
        },
        [&](bool /*failed*/, bool thrown) {
            EXPECT_TRUE(thrown || right) << "a wrong result without an exception";
            EXPECT_TRUE(keptFormer);
            EXPECT_TRUE(isUsable);
            right = false;
        });
    EXPECT_GE(runs, allocationsOfFormer + 2) << "the operation allocated nothing";
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
        std::ostringstream out; // Its state reports a failed allocation of its buffer.
        out << text;
        return !out || out.view() == "the former text, on the heap";
    });
}

}
