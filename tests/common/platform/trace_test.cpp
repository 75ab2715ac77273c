#include "common/platform/trace.h"
#include "tests/common/basic/locale_scope.h"
#include "tests/common/platform/SinkRecorder.h"
#include "tests/support/allocation_counter.h"

#include <gtest/gtest.h>

#include <locale>
#include <new>
#include <stdexcept>
#include <string>

using dovrel::string;

namespace {

/** A value whose insertions are counted. */
struct CountedValue { };

int countedInsertions = 0;

std::wostream& operator<<(std::wostream& out, CountedValue const&)
{
    ++countedInsertions;
    return out << L"counted";
}

/** @return the line that a message with these arguments writes; "none" unless it is exactly one. */
template <class... Arguments>
std::wstring written(char const* format, Arguments const&... arguments)
{
    SinkRecorder recorder(5);
    hashedfunction const* function = nullptr;
    traceobject trace(function, "void written()");
    trace.write(3, format, arguments...);
    return recorder.lines().size() == 1 ? recorder.lines()[0].text : L"none";
}

TEST(Trace, writesMessagesUpToTheDetailLevel)
{
    for (unsigned detail = 0; detail <= 6; ++detail) {
        for (tracelevel_t level = 1; level <= 5; ++level) {
            SinkRecorder recorder(detail);
            hashedfunction const* function = nullptr;
            traceobject trace(function, "void scope()");
            EXPECT_EQ(trace.admits(level), detail >= level);
            trace.write(level, "text");
            EXPECT_EQ(recorder.lines().size(), detail >= level ? 1U : 0U) << detail << ' ' << level;
        }
    }
}

TEST(Trace, acceptsTheMaximumDetailLevel)
{
    SinkRecorder recorder(0xFFFFFFFF);
    hashedfunction const* function = nullptr;
    traceobject trace(function, "void scope()");
    trace.write(5, "text");
    EXPECT_EQ(recorder.lines().size(), 1U);
}

TEST(Trace, composesNothingWhenTheLevelIsOff)
{
    countedInsertions = 0;
    hashedfunction const* function = nullptr;
    SinkRecorder recorder(2);
    traceobject trace(function, "void scope()");
    trace.write(3, "%s", CountedValue());
    EXPECT_EQ(countedInsertions, 0);
    trace.write(2, "%s", CountedValue());
    EXPECT_EQ(countedInsertions, 1);
}

TEST(Trace, allocatesNothingWhenItIsOff)
{
    SinkRecorder recorder(0);
    hashedfunction const* function = nullptr;
    testkit::AllocationCounter const counter;
    {
        traceobject trace(function, "void scope()");
        trace.write(1, "a text that is longer than any small buffer: %s", "and its argument");
    }
    size_t const calls = counter.calls();
    EXPECT_EQ(calls, 0U);
    EXPECT_EQ(function, nullptr);
    EXPECT_EQ(recorder.lines().size(), 0U);
}

TEST(Trace, createsOneRecordPerFunction)
{
    SinkRecorder recorder(1);
    hashedfunction const* function = nullptr;
    traceobject const first(function, "void scope()");
    hashedfunction const* const made = function;
    ASSERT_NE(made, nullptr);
    testkit::AllocationCounter const counter;
    traceobject const second(function, "void scope()");
    EXPECT_EQ(counter.calls(), 0U);
    EXPECT_EQ(function, made);
}

TEST(Trace, acceptsAnyLetterInAPlaceholder)
{
    for (char letter = 'a'; letter <= 'z'; ++letter) {
        char const lower[] = {'<', '%', letter, '>', '\0'};
        char const upper[] = {'<', '%', static_cast<char>(letter - 'a' + 'A'), '>', '\0'};
        EXPECT_EQ(written(lower, "text"), L"<text>\n") << lower;
        EXPECT_EQ(written(upper, 42), L"<42>\n") << upper;
    }
}

TEST(Trace, insertsArgumentsInOrder)
{
    EXPECT_EQ(written("%s%d%u%s", "a", 1, 2U, "b"), L"a12b\n");
    EXPECT_EQ(written("%s has %u bytes", L"/dev/sda", 18446744073709551615ULL),
        L"/dev/sda has 18446744073709551615 bytes\n");
    EXPECT_EQ(written("%f %d", 0.5, -7), L"0.5 -7\n");
}

TEST(Trace, writesOnePercentSignForTwo)
{
    EXPECT_EQ(written("100%%"), L"100%\n");
    EXPECT_EQ(written("%d%%", 50), L"50%\n");
    EXPECT_EQ(written("%%s %s", "a"), L"%s a\n");
    EXPECT_EQ(written("%%%s", "a"), L"%a\n");
    EXPECT_EQ(written("%%%%"), L"%%\n");
}

TEST(Trace, keepsAPercentSignWithoutALetter)
{
    EXPECT_EQ(written("50% done, %s", "really"), L"50% done, really\n");
    EXPECT_EQ(written("at the end %"), L"at the end %\n");
    EXPECT_EQ(written("%5", 1), L"%5\n");
}

TEST(Trace, keepsPlaceholdersWithoutArguments)
{
    EXPECT_EQ(written("%s and %d", "a"), L"a and %d\n");
    EXPECT_EQ(written("%s"), L"%s\n");
}

TEST(Trace, dropsArgumentsWithoutPlaceholders)
{
    EXPECT_EQ(written("%s", "a", "b", 3), L"a\n");
    EXPECT_EQ(written("none", CountedValue()), L"none\n");
}

TEST(Trace, ignoresPlaceholdersInArguments)
{
    EXPECT_EQ(written("%s %s", "%d%%", "x"), L"%d%% x\n");
}

TEST(Trace, writesEveryStringTypeWithItsCharacters)
{
    LocaleScope const locale("C.UTF-8");
    char const* const pointer = "\xE2\x82\xAC pointer";
    char array[] = "\xE2\x82\xAC array";
    EXPECT_EQ(written("%s", pointer), L"\u20AC pointer\n");
    EXPECT_EQ(written("%s", array), L"\u20AC array\n");
    EXPECT_EQ(written("%s", "\xF0\x9F\x98\x80"), L"\U0001F600\n");
    EXPECT_EQ(written("%s", std::string("\xE2\x82\xAC standard")), L"\u20AC standard\n");
    EXPECT_EQ(written("%s", string(L"\u20AC own")), L"\u20AC own\n");
    EXPECT_EQ(written("%s", L"\u20AC wide"), L"\u20AC wide\n");
    EXPECT_EQ(written("%s", std::wstring(L"\u20AC wide standard")), L"\u20AC wide standard\n");
    EXPECT_EQ(written("%s", static_cast<char const*>(nullptr)), L"\n");
}

TEST(Trace, doesNotConvertWideStringsByTheLocale)
{
    LocaleScope const locale("C");
    EXPECT_EQ(written("%s %s", string(L"\u20AC"), L"\U0001F600"), L"\u20AC \U0001F600\n");
    EXPECT_EQ(written("%s", "\xE2\x82\xAC"), L"???\n");
}

class Grouping : public std::numpunct<wchar_t> {
    wchar_t do_thousands_sep() const override { return L'.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(Trace, writesNumbersWithoutSeparatorsOfTheGlobalLocale)
{
    std::locale const former =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    std::wstring const line = written("%d", 1234567);
    std::locale::global(former);
    EXPECT_EQ(line, L"1234567\n");
}

TEST(Trace, endsEachLineWithOneNewline)
{
    EXPECT_EQ(written("text"), L"text\n");
    EXPECT_EQ(written("text\n"), L"text\n");
    EXPECT_EQ(written("%s", "text\n"), L"text\n");
    EXPECT_EQ(written(""), L"\n");
    EXPECT_EQ(written("two\nlines"), L"two\nlines\n");
}

void inner()
{
    DOVREL_TRACE_SCOPE("void inner()");
    trace.write(1, "two");
}

TEST(Trace, passesLevelAndScopeToTheSink)
{
    SinkRecorder recorder(5);
    {
        DOVREL_TRACE_SCOPE("bool outer(int) const");
        trace.write(4, "one");
        inner();
        trace.write(2, "three");
    }
    ASSERT_EQ(recorder.lines().size(), 3U);
    EXPECT_EQ(recorder.lines()[0], (SinkRecorder::Line{4, "bool outer(int) const", L"one\n"}));
    EXPECT_EQ(recorder.lines()[1], (SinkRecorder::Line{1, "void inner()", L"two\n"}));
    EXPECT_EQ(recorder.lines()[2], (SinkRecorder::Line{2, "bool outer(int) const", L"three\n"}));
}

TEST(Trace, logtosplitWritesALineWithTheCurrentLevel)
{
    SinkRecorder recorder(3);
    hashedfunction const* function = nullptr;
    traceobject trace(function, "void byHand()");
    string line(L"composed by hand");
    trace.setLevel(3);
    trace.logtosplit(line);
    trace.setLevel(1);
    string ended(L"ended\n");
    trace.logtosplit(ended);
    ASSERT_EQ(recorder.lines().size(), 2U);
    EXPECT_EQ(recorder.lines()[0], (SinkRecorder::Line{3, "void byHand()", L"composed by hand\n"}));
    EXPECT_EQ(recorder.lines()[1], (SinkRecorder::Line{1, "void byHand()", L"ended\n"}));
}

TEST(Trace, dropsLinesWithoutASink)
{
    {
        SinkRecorder const recorder(5);
    }
    dovrel::trace::setDetailLevel(5);
    hashedfunction const* function = nullptr;
    traceobject trace(function, "void scope()");
    EXPECT_NO_THROW(trace.write(1, "text"));
    dovrel::trace::setDetailLevel(0);
}

void throwingSink(void* context, unsigned, char const*, string const&)
{
    ++*static_cast<int*>(context);
    throw std::runtime_error("the disk is full");
}

TEST(Trace, ignoresExceptionsOfTheSink)
{
    int calls = 0;
    SinkRecorder const recorder(5);
    dovrel::trace::setSink(throwingSink, &calls);
    hashedfunction const* function = nullptr;
    traceobject trace(function, "void scope()");
    EXPECT_NO_THROW(trace.write(1, "text"));
    EXPECT_EQ(calls, 1);
    string line(L"by hand");
    EXPECT_NO_THROW(trace.logtosplit(line));
    EXPECT_EQ(calls, 2);
}

TEST(Trace, throwsNothingWhenAllocationsFail)
{
    SinkRecorder const recorder(5);
    int received = 0;
    dovrel::trace::setSink(
        [](void* context, unsigned, char const*, string const&) { ++*static_cast<int*>(context); },
        &received);
    bool failed = true;
    size_t n = 0;
    while (failed) {
        ++n;
        ASSERT_LT(n, 100U);
        hashedfunction const* function = nullptr;
        testkit::FailingAllocation const failing(n);
        try {
            traceobject trace(function, "void scope()");
            trace.write(1, "%s: %d", "a text that is longer than any small buffer", 1234567);
            string line(L"seven c");
            trace.logtosplit(line);
        } catch (std::bad_alloc const&) {
            ADD_FAILURE() << "thrown at allocation " << n;
        }
        failed = failing.hasHappened();
    }
    EXPECT_GE(n, 3U);
    EXPECT_GE(received, 2);
}

}
