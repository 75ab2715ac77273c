// The record that a poll makes from the engine's files. Other parts: recovery_times_test.cpp
// (dates), recovery_trace_test.cpp (traces), recovery_walk_test.cpp (a whole recovery).

#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/ReadCalls.h"
#include "tests/sysinfo/recovery_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <string>
#include <string_view>

using testkit::CapturedTrace;
using testkit::machine;
using testkit::RECOVERY_ANSWERS;
using testkit::RECOVERY_PERCENT;
using testkit::RECOVERY_STATUS;

namespace {

using CloneInfo = sysinfo::SystemInformation::CloneInfo;
using Record = testkit::RecoveryRecord;

Record poll()
{
    EXPECT_EQ(static_cast<bool>(testkit::pollRecovery(true)),
        static_cast<bool>(testkit::pollRecovery(false)));
    return testkit::pollRecovery();
}

Record pollWith(std::string_view status)
{
    machine.file(RECOVERY_STATUS, status);
    return poll();
}

unsigned int operationWith(std::string const& statusValue)
{
    Record const record = pollWith("[Main]\nStatus=" + statusValue + '\n');
    EXPECT_TRUE(record);
    return record ? record->getOperationID() : 999'999;
}

unsigned int operationWithAnswers(std::string_view answers, std::string const& status = "5000")
{
    machine.file(RECOVERY_ANSWERS, answers);
    return operationWith(status);
}

std::string counters(std::string const& totalFiles, std::string const& filesDone,
    std::string const& totalBytes, std::string const& bytesDone)
{
    return "[Main]\nStatus=5000\n[RestoreStatus]\nTotalFiles=" + totalFiles + "\nFilesDone="
        + filesDone + "\nTotalBytes=" + totalBytes + "\nBytesDone=" + bytesDone + '\n';
}

std::string const SOME_RESTORE = counters("200", "50", "1048576000", "524288000");

/** @return the percentage with @p percent in /tmp/percent; 37 is the computed one. */
unsigned int percentageWith(std::string_view percent)
{
    machine.file(RECOVERY_PERCENT, percent);
    return pollWith(SOME_RESTORE)->getOperationProgress();
}

void expectSimple(CloneInfo const& record, unsigned int operation)
{
    EXPECT_EQ(record.getOperationID(), operation);
    EXPECT_EQ(record.getFailedOperationID(), 0U);
    EXPECT_EQ(record.getOperationProgress(), 0U);
    EXPECT_EQ(record.getTotalFiles(), 0U);
    EXPECT_EQ(record.getTotalMBytes(), 0U);
    EXPECT_EQ(record.getFilesDone(), 0U);
    EXPECT_EQ(record.getMBytesDone(), 0U);
    EXPECT_EQ(record.getRestoreStartTime(), 0);
    EXPECT_EQ(record.getRestoreEndTime(), testkit::RECOVERY_NOW);
    EXPECT_EQ(record.getThroughput(), 0.0);
    EXPECT_FALSE(std::signbit(record.getThroughput()));
    EXPECT_TRUE(record.getLastError().empty());
}

}

TEST(RecoveryOperation, hasNoFiguresBeforeTheRestore)
{
    for (char const* const status : {"1000", "4000", "4999", "1", "0"}) {
        Record const record =
            pollWith("[Main]\nStatus=" + std::string(status) + "\n[RestoreStatus]\nTotalFiles=9\n"
                + "RestoreStart=01-01-2013 00:00:00\nRestoreEnd=01-01-2013 00:00:00\n");
        ASSERT_TRUE(record) << status;
        expectSimple(*record, static_cast<unsigned int>(std::stoul(status)));
    }
}

TEST(RecoveryOperation, ignoresThePercentFileBeforeTheRestore)
{
    machine.file(RECOVERY_PERCENT, "73\n");
    EXPECT_EQ(pollWith("[Main]\nStatus=4000\n")->getOperationProgress(), 0U);
}

TEST(RecoveryOperation, isZeroWhenTheStatusIsNoNumber)
{
    for (char const* const status : {"x", "-", "restoring", "99999999999", ".5", "\" \""})
        EXPECT_EQ(operationWith(status), 0U) << status;
}

TEST(RecoveryOperation, isTheNumberThatTheStatusBeginsWith)
{
    EXPECT_EQ(operationWith("4000 of 5000"), 4000U);
    EXPECT_EQ(operationWith("\"4000\""), 4000U);
    EXPECT_EQ(operationWith("+4000"), 4000U);
    EXPECT_EQ(operationWith("0x1388"), 0U);
    EXPECT_EQ(operationWith("2147483647"), 2147483647U);
}

TEST(RecoveryOperation, wrapsANegativeStatusKept)
{
    Record const record = pollWith("[Main]\nStatus=-1\n");
    ASSERT_TRUE(record);
    expectSimple(*record, 4294967295U);
}

TEST(RecoveryOperation, ignoresTheCaseOfSectionAndKey)
{
    for (char const* const section : {"main", "Main", "MAIN"}) {
        Record const record = pollWith('[' + std::string(section) + "]\nSTATUS=1000\n");
        ASSERT_TRUE(record) << section;
        EXPECT_EQ(record->getOperationID(), 1000U);
    }
}

TEST(RecoveryOperation, isFinalSyncForAnyAnswerKept)
{
    for (char const* const answer : {"1", "0", "false", "no", "\"0\"", "x"})
        EXPECT_EQ(
            operationWithAnswers("[AdvancedOptions]\nFinalSync=" + std::string(answer)), 5500U)
            << answer;
    EXPECT_EQ(operationWithAnswers("[advancedoptions]\nfinalsync=1\n"), 5500U);
}

TEST(RecoveryOperation, isNotFinalSyncWithoutAnAnswer)
{
    EXPECT_EQ(operationWith("5000"), 5000U);
    for (char const* const answers : {"", "[AdvancedOptions]\n", "[AdvancedOptions]\nFinalSync=\n",
             "[AdvancedOptions]\nFinalSync=\"\"\n", "[AdvancedOptions]\nFinalSync=;1\n",
             "FinalSync=1\n", "[Other]\nFinalSync=1\n", "[AdvancedOptions]\nFinalSyncs=1\n"})
        EXPECT_EQ(operationWithAnswers(answers), 5000U) << answers;
}

TEST(RecoveryOperation, isNotFinalSyncWhenTheAnswersAreUnreadable)
{
    CapturedTrace const trace(1);
    machine.folder(RECOVERY_ANSWERS);
    EXPECT_EQ(operationWith("5000"), 5000U);
    machine.remove(RECOVERY_ANSWERS);
    machine.file(RECOVERY_ANSWERS, "[AdvancedOptions]\nFinalSync=1\n");
    std::filesystem::permissions(RECOVERY_ANSWERS, std::filesystem::perms::none);
    EXPECT_EQ(operationWith("5000"), 5000U);
    EXPECT_TRUE(trace.lines().empty());
}

TEST(RecoveryOperation, isFinalSyncOnlyForStatus5000)
{
    std::string const answers = "[AdvancedOptions]\nFinalSync=1\n";
    for (char const* const status : {"1000", "4999", "5001", "5499", "5500", "5501", "9999"})
        EXPECT_EQ(
            operationWithAnswers(answers, status), static_cast<unsigned int>(std::stoul(status)));
}

TEST(RecoveryFigures, returnTheEnginesCounters)
{
    Record const record = pollWith(SOME_RESTORE);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->getOperationID(), 5000U);
    EXPECT_EQ(record->getFailedOperationID(), 0U);
    EXPECT_EQ(record->getOperationProgress(), 37U);
    EXPECT_EQ(record->getTotalFiles(), 200U);
    EXPECT_EQ(record->getFilesDone(), 50U);
    EXPECT_EQ(record->getTotalMBytes(), 1000U);
    EXPECT_EQ(record->getMBytesDone(), 500U);
    EXPECT_TRUE(record->getLastError().empty());
    EXPECT_EQ(record->toString(), dovrel::string(L"Progress: 50 / 200 operation = 5000"));
}

TEST(RecoveryFigures, countMissingCountersAsMinusOneKept)
{
    Record const record = pollWith("[Main]\nStatus=5000\n");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->getOperationProgress(), 100U);
    EXPECT_EQ(record->getTotalFiles(), 4294967295U);
    EXPECT_EQ(record->getFilesDone(), 4294967295U);
    EXPECT_EQ(record->getTotalMBytes(), 0U);
    EXPECT_EQ(record->getMBytesDone(), 0U);
    EXPECT_EQ(record->getThroughput(), 0.0);
}

TEST(RecoveryFigures, countInvalidCountersAsMinusOne)
{
    for (std::string const text : {"", "x", "-", "9223372036854775808", "\"\""}) {
        Record const record = pollWith(counters(text, text, text, text));
        ASSERT_TRUE(record) << text;
        EXPECT_EQ(record->getOperationProgress(), 100U) << text;
        EXPECT_EQ(record->getTotalFiles(), 4294967295U) << text;
        EXPECT_EQ(record->getFilesDone(), 4294967295U) << text;
    }
}

TEST(RecoveryFigures, countNoFilesAsOneFile)
{
    Record const record = pollWith(counters("0", "0", "0", "0"));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->getOperationProgress(), 0U);
    EXPECT_EQ(record->getTotalFiles(), 1U);
    EXPECT_EQ(record->getFilesDone(), 0U);
    EXPECT_EQ(record->getTotalMBytes(), 0U);
}

TEST(RecoveryFigures, wrapTo32BitsKept)
{
    // 2^32 + 7 files, 2^53 + 3 * 2^20 bytes.
    Record const record =
        pollWith(counters("4294967303", "4294967297", "9007199257886720", "9007199257886720"));
    ASSERT_TRUE(record);
    EXPECT_EQ(record->getTotalFiles(), 7U);
    EXPECT_EQ(record->getFilesDone(), 1U);
    EXPECT_EQ(record->getTotalMBytes(), 3U);
    EXPECT_EQ(record->getMBytesDone(), 3U);
    EXPECT_EQ(record->getOperationProgress(), 99U);
    EXPECT_EQ(pollWith(counters("1", "0", "100", "-2"))->getOperationProgress(), 4294967295U);
}

TEST(RecoveryFigures, acceptTheLimitsOf64Bits)
{
    std::string const largest = "9223372036854775807";
    std::string const smallest = "-9223372036854775808";
    Record const wrapped = pollWith(counters("1", largest, "1", largest));
    ASSERT_TRUE(wrapped);
    EXPECT_EQ(wrapped->getOperationProgress(), 4294967196U); // -100
    EXPECT_EQ(wrapped->getFilesDone(), 4294967295U);
    // 2^62 * 50 is -2^63, which has no opposite.
    Record const quotient = pollWith(counters("1", "0", "-1", "4611686018427387904"));
    ASSERT_TRUE(quotient);
    EXPECT_EQ(quotient->getOperationProgress(), 0U);
    Record const lowest = pollWith(counters(smallest, smallest, smallest, smallest));
    ASSERT_TRUE(lowest);
    EXPECT_EQ(lowest->getOperationProgress(), 0U);
    EXPECT_EQ(lowest->getTotalFiles(), 0U);
}

TEST(RecoveryThroughput, isBytesDonePerSecondInWholeMegabytes)
{
    setenv("TZ", "UTC0", 1);
    std::string const times =
        "[Main]\nStatus=5000\nRestoreStart=13-05-2014 16:53:10\n[RestoreStatus]\nBytesDone=";
    EXPECT_EQ(pollWith(times + "1048576000\n")->getThroughput(), 100.0); // In ten seconds.
    EXPECT_EQ(pollWith(times + "1048575999\n")->getThroughput(), 99.0);
    EXPECT_EQ(pollWith(times + "-1\n")->getThroughput(), 0.0);
    EXPECT_EQ(pollWith(times + "-104857600\n")->getThroughput(), 4294967286.0); // -10 as 32 bits.
    // 2^53 bytes in ten seconds, in MB: 858993459 fits; ten times that wraps.
    EXPECT_EQ(pollWith(times + "9007199254740992\n")->getThroughput(), 858993459.0);
    EXPECT_EQ(pollWith(times + "90071992547409920\n")->getThroughput(), 0.0);
    unsetenv("TZ");
}

TEST(RecoveryPercentage, isReadFromThePercentFile)
{
    EXPECT_EQ(percentageWith("73\n"), 73U);
    EXPECT_EQ(percentageWith("0"), 0U);
    EXPECT_EQ(percentageWith("100"), 100U);
    EXPECT_EQ(percentageWith(" \n\t+5 percent"), 5U);
    EXPECT_EQ(percentageWith("42.9"), 42U);
    EXPECT_EQ(percentageWith("007"), 7U);
    EXPECT_EQ(percentageWith("0x20"), 0U);
}

TEST(RecoveryPercentage, isComputedWhenThePercentFileHasNoPercentage)
{
    using namespace std::string_view_literals;
    for (std::string_view percent : {""sv, "101"sv, "-1"sv, "abc"sv, " "sv, "99999999999"sv, "-"sv,
             "2147483648"sv, "-2147483649"sv, ".5"sv, "\0"sv, "\xFF"sv, "%50"sv})
        EXPECT_EQ(percentageWith(percent), 37U) << percent;
    machine.remove(RECOVERY_PERCENT);
    EXPECT_EQ(pollWith(SOME_RESTORE)->getOperationProgress(), 37U);
}

TEST(RecoveryPercentage, isReadFromTheBeginningOfALargeFile)
{
    EXPECT_EQ(percentageWith("73\n" + std::string(1'000'000, 'x')), 73U);
    ASSERT_EQ(::truncate(RECOVERY_PERCENT, off_t{1} << 40), 0);
    EXPECT_EQ(pollWith(SOME_RESTORE)->getOperationProgress(), 73U);
    EXPECT_EQ(percentageWith(std::string(1'000'000, '9')), 37U);
    EXPECT_EQ(percentageWith(std::string(1'000'000, ' ') + "73"), 73U);
}

TEST(RecoveryPercentage, isComputedWhenThePercentFileIsUnreadable)
{
    machine.folder(RECOVERY_PERCENT);
    EXPECT_EQ(pollWith(SOME_RESTORE)->getOperationProgress(), 37U);
    machine.remove(RECOVERY_PERCENT);
    machine.file(RECOVERY_PERCENT, "73");
    std::filesystem::permissions(RECOVERY_PERCENT, std::filesystem::perms::none);
    EXPECT_EQ(pollWith(SOME_RESTORE)->getOperationProgress(), 37U);
}

TEST(RecoveryPercentage, isComputedWithoutBlockingWhenThePercentFileIsAFifo)
{
    machine.folder("/tmp");
    ASSERT_EQ(::mkfifo("/tmp/fifo", 0666), 0);
    machine.link(RECOVERY_PERCENT, "fifo");
    EXPECT_EQ(pollWith(SOME_RESTORE)->getOperationProgress(), 37U);
    machine.remove(RECOVERY_PERCENT);
    ASSERT_EQ(::mkfifo(RECOVERY_PERCENT, 0666), 0);
    EXPECT_EQ(pollWith(SOME_RESTORE)->getOperationProgress(), 37U);

    // Also if it has a writer and data.
    int const writer = ::open(RECOVERY_PERCENT, O_RDWR | O_CLOEXEC | O_NONBLOCK);
    ASSERT_GE(writer, 0);
    ASSERT_EQ(::write(writer, "73\n", 3), 3);
    EXPECT_EQ(testkit::pollRecovery()->getOperationProgress(), 37U);
    char left[8];
    EXPECT_EQ(::read(writer, left, sizeof left), 3) << "the poll read the fifo";
    ::close(writer);
}

TEST(RecoveryFigures, acceptReadsOfSingleBytesBetweenSignals)
{
    testkit::ReadCalls reads(RECOVERY_STATUS);
    reads.giveSingleBytesBetweenSignals();
    EXPECT_EQ(pollWith(SOME_RESTORE)->getOperationProgress(), 37U);
    EXPECT_GE(reads.failures(), 80U) << "too few reads were interrupted";
}

TEST(RecoveryFigures, areReadFromTheRecordedFiles)
{
    std::string const folder = "/testkit/recorded/ini/";
    Record const good = pollWith(testkit::contentsOf(folder + "fake-good.txt"));
    ASSERT_TRUE(good);
    EXPECT_EQ(good->getOperationID(), 5000U);
    EXPECT_EQ(good->getOperationProgress(), 37U);
    EXPECT_EQ(good->getTotalMBytes(), 1000U);

    machine.link(RECOVERY_ANSWERS, folder + "fake-odd.txt");
    Record const odd = pollWith(testkit::contentsOf(folder + "fake-odd.txt"));
    ASSERT_TRUE(odd);
    EXPECT_EQ(odd->getOperationID(), 5500U);
    EXPECT_EQ(odd->getOperationProgress(), 12U); // BytesDone is read as 0.
    EXPECT_EQ(odd->getTotalFiles(), 200U);
    EXPECT_EQ(odd->getFilesDone(), 50U);
    EXPECT_EQ(odd->getTotalMBytes(), 1000U);
    EXPECT_EQ(odd->getMBytesDone(), 0U);

    machine.remove(RECOVERY_ANSWERS);
    Record const broken = pollWith(testkit::contentsOf(folder + "fake-broken.txt"));
    ASSERT_TRUE(broken);
    EXPECT_EQ(broken->getOperationID(), 5000U);
    EXPECT_EQ(broken->getTotalFiles(), 2U);
    EXPECT_EQ(broken->getFilesDone(), 4294967295U);
    EXPECT_EQ(broken->getOperationProgress(), 25U);
}
