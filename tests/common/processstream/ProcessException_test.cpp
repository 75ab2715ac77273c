#include "common/basic/processstream/src/process_exception.h"
#include "tests/common/processstream/GroupingLocale.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <string>
#include <type_traits>

using dovrel::ProcessException;
using dovrel::reason_type;

namespace {

ProcessException failure(reason_type reason, unsigned line, int code)
{
    errno = code;
    return ProcessException(reason, line);
}

/** Reason, line and code in one string. */
std::string numbersOf(ProcessException const& exception)
{
    return std::to_string(exception.reason()) + '/' + std::to_string(exception.line()) + '/'
        + std::to_string(exception.code());
}

std::string numbersReadFrom(std::string const& text)
{
    return numbersOf(ProcessException::deserialize(text));
}

}

TEST(ProcessException, whatContainsReasonCodeAndLine)
{
    EXPECT_STREQ(
        failure(dovrel::REASON_PIPE, 214, 24).what(), "Failed to create pipe: 24 at line 214");
    EXPECT_STREQ(failure(dovrel::REASON_PSEUDO_TERMINAL, 1, 0).what(),
        "Failed to create pseudo-terminal: 0 at line 1");
    EXPECT_STREQ(failure(dovrel::REASON_FORK, UINT_MAX, 11).what(),
        "Failed to fork into process: 11 at line 4294967295");
    EXPECT_STREQ(failure(dovrel::REASON_SECURITY_DESCRIPTOR, 2, 1).what(),
        "Failed to construct security descriptor: 1 at line 2");
    EXPECT_STREQ(failure(dovrel::REASON_CONSOLE, 2, 1).what(),
        "Failed to interact with console: 1 at line 2");
    EXPECT_STREQ(failure(dovrel::REASON_EXIT_STATUS, 2, 10).what(),
        "Failed to find exit status: 10 at line 2");
}

TEST(ProcessException, whatOmitsALineOfZero)
{
    EXPECT_STREQ(failure(dovrel::REASON_NOT_EXITED, 0, 4).what(), "Process has not exited: 4");
}

TEST(ProcessException, whatStartsWithTheTextOfTheReason)
{
    for (unsigned reason = 0; reason < dovrel::REASONS; ++reason) {
        ProcessException const exception(static_cast<reason_type>(reason), 0);
        EXPECT_EQ(std::string(exception.what()).rfind(dovrel::ERRORS[reason], 0), 0U) << reason;
    }
}

TEST(ProcessException, capturesErrnoInTheConstructor)
{
    errno = EMFILE;
    ProcessException const exception(dovrel::REASON_PIPE, 7);
    errno = 0;
    EXPECT_EQ(numbersOf(exception), "1/7/24");
}

TEST(ProcessException, initCodeReplacesTheCodeAndTheMessage)
{
    ProcessException exception = failure(dovrel::REASON_PIPE, 7, 24);
    exception.initCode(9);
    EXPECT_EQ(exception.code(), 9);
    EXPECT_STREQ(exception.what(), "Failed to create pipe: 9 at line 7");
    exception.initCode(-1);
    EXPECT_EQ(exception.code(), -1);
    EXPECT_STREQ(exception.what(), "Failed to create pipe: -1 at line 7");
}

TEST(ProcessException, isAStandardExceptionAndCanBeCopied)
{
    static_assert(std::is_base_of_v<std::exception, ProcessException>);
    static_assert(sizeof(reason_type) == 4);
    try {
        throw failure(dovrel::REASON_FORK, 5, 12);
    } catch (std::exception const& exception) {
        EXPECT_STREQ(exception.what(), "Failed to fork into process: 12 at line 5");
    }
    ProcessException copy = failure(dovrel::REASON_PIPE, 1, 1);
    copy = failure(dovrel::REASON_FORK, 5, 12);
    EXPECT_EQ(numbersOf(copy), "2/5/12");
}

TEST(ProcessException, ignoresTheGlobalLocale)
{
    GroupingLocale const grouping;
    ProcessException const exception = failure(dovrel::REASON_PIPE, 4711, 1234567);
    EXPECT_STREQ(exception.what(), "Failed to create pipe: 1234567 at line 4711");
    EXPECT_EQ(exception.serialize(), "1 4711 1234567");
    EXPECT_EQ(numbersReadFrom("1 4711 1234567"), "1/4711/1234567");
}

TEST(ProcessException, serializesReasonLineAndCode)
{
    EXPECT_EQ(failure(dovrel::REASON_PIPE, 152, 9).serialize(), "1 152 9");
    EXPECT_EQ(failure(dovrel::REASON_PSEUDO_TERMINAL, 0, 0).serialize(), "0 0 0");
}

TEST(ProcessException, serializesANegativeCodeAsUnsigned)
{
    EXPECT_EQ(failure(dovrel::REASON_PIPE, 152, -1).serialize(), "1 152 4294967295");
    EXPECT_EQ(ProcessException::deserialize("1 152 4294967295").code(), -1);
    EXPECT_EQ(ProcessException::deserialize("1 152 2147483648").code(), INT_MIN);
}

TEST(ProcessException, serializesTheLargestNumbersBelowTheSizeLimit)
{
    std::string const text = failure(dovrel::REASON_EXIT_STATUS, UINT_MAX, -1).serialize();
    EXPECT_EQ(text, "6 4294967295 4294967295");
    EXPECT_LT(text.size(), ProcessException::SERIALIZED_SIZE);
}

TEST(ProcessException, deserializesEverythingThatItSerializes)
{
    for (unsigned reason = 0; reason < dovrel::REASONS; ++reason) {
        for (unsigned line : {0U, 1U, 214U, UINT_MAX}) {
            for (int code : {0, 24, INT_MAX, -1, INT_MIN}) {
                ProcessException const sent = failure(static_cast<reason_type>(reason), line, code);
                errno = 77;
                ProcessException const received = ProcessException::deserialize(sent.serialize());
                EXPECT_EQ(numbersOf(received), numbersOf(sent));
                EXPECT_STREQ(received.what(), sent.what());
            }
        }
    }
}

TEST(ProcessException, deserializesNumbersBetweenAnyWhiteSpace)
{
    EXPECT_EQ(numbersReadFrom(" 1\t152\n\r\v\f9 "), "1/152/9");
    EXPECT_EQ(numbersReadFrom("001 00152 9 and more"), "1/152/9");
}

TEST(ProcessException, deserializesMissingNumbersAsZero)
{
    errno = EMFILE;
    EXPECT_EQ(numbersReadFrom(""), "0/0/0");
    EXPECT_EQ(numbersReadFrom("   "), "0/0/0");
    EXPECT_EQ(numbersReadFrom("6"), "6/0/0");
    EXPECT_EQ(numbersReadFrom("6 152"), "6/152/0");
    EXPECT_STREQ(ProcessException::deserialize("6").what(), "Failed to find exit status: 0");
}

TEST(ProcessException, deserializesSignsAsAStandardStreamDoes)
{
    EXPECT_EQ(numbersReadFrom("+1 +2 +3"), "1/2/3");
    EXPECT_EQ(numbersReadFrom("1 152 -9"), "1/152/-9");
    EXPECT_EQ(numbersReadFrom("1 -152 9"), "1/4294967144/9");
    EXPECT_STREQ(
        ProcessException::deserialize("1 152 -9").what(), "Failed to create pipe: -9 at line 152");
}

TEST(ProcessException, deserializesZeroAfterTheFirstInvalidNumber)
{
    for (char const* text : {"x 152 9", ", 1 1", "- 1 1", "+-1 2 3"})
        EXPECT_EQ(numbersReadFrom(text), "0/0/0") << text;
    for (char const* text : {"1 x 9", "1,152,9", "1.0 2 3"})
        EXPECT_EQ(numbersReadFrom(text), "1/0/0") << text;
    for (char const* text : {"1 152 x", "1 152. 9"})
        EXPECT_EQ(numbersReadFrom(text), "1/152/0") << text;
    EXPECT_EQ(numbersReadFrom(std::string("1\0 152 9", 8)), "1/0/0");
    EXPECT_EQ(numbersReadFrom("1 0x10 9"), "1/0/0");
}

TEST(ProcessException, deserializesATooLargeNumberAsTheLargest)
{
    EXPECT_EQ(numbersReadFrom("4294967296 152 9"), "4294967295/0/0");
    EXPECT_EQ(numbersReadFrom("1 4294967296 9"), "1/4294967295/0");
    EXPECT_EQ(numbersReadFrom("1 152 99999999999999999999"), "1/152/-1");
}

TEST(ProcessException, keepsAnUnknownReasonAndOmitsItsText)
{
    ProcessException const next = ProcessException::deserialize("7 152 9");
    EXPECT_EQ(numbersOf(next), "7/152/9");
    EXPECT_STREQ(next.what(), "9 at line 152");
    EXPECT_EQ(next.serialize(), "7 152 9");
    ProcessException const last = ProcessException::deserialize("4294967295 0 9");
    EXPECT_EQ(numbersOf(last), "4294967295/0/9");
    EXPECT_STREQ(last.what(), "9");
    EXPECT_STREQ(failure(static_cast<reason_type>(UINT_MAX), 1, 2).what(), "2 at line 1");
}

TEST(ProcessException, deserializesAStringOfAnyLength)
{
    std::string text = "1 152 9";
    for (size_t const size : {size_t{79}, ProcessException::SERIALIZED_SIZE, size_t{1000}}) {
        text.resize(size, ' ');
        EXPECT_EQ(numbersReadFrom(text), "1/152/9") << size;
    }
    text.assign(ProcessException::SERIALIZED_SIZE - 7, ' ');
    EXPECT_EQ(numbersReadFrom(text + "1 152 9"), "1/152/9");
}
