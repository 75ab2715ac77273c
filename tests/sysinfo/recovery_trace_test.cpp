// The trace messages of a poll.

#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/recovery_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

using testkit::CapturedTrace;
using testkit::machine;
using testkit::pollRecovery;
using testkit::RECOVERY_PERCENT;
using testkit::RECOVERY_STATUS;

namespace {

std::string const RUNNING_RESTORE =
    "[Main]\nStatus=5000\n[RestoreStatus]\nTotalFiles=200\nFilesDone=50\n"
    "TotalBytes=1048576000\nBytesDone=524288000\n";

/** Polls, and expects no record. @return the messages of level 1. */
std::string pollsTrace()
{
    CapturedTrace const trace(1);
    EXPECT_FALSE(pollRecovery());
    return trace.text(1);
}

}

TEST(RecoveryTrace, reportsAnUnreadableStatusOnceForEachChangeOfCause)
{
    std::string const missing =
        "Failed to open status.ini. File /etc/dovrel/status.ini not found!: 2\n";
    std::string const folder =
        "Failed to open status.ini. File /etc/dovrel/status.ini could not be read!: 21\n";
    pollsTrace();
    machine.folder(RECOVERY_STATUS);
    EXPECT_EQ(pollsTrace(), folder);
    EXPECT_EQ(pollsTrace(), "");
    machine.remove(RECOVERY_STATUS);
    EXPECT_EQ(pollsTrace(), missing);
    EXPECT_EQ(pollsTrace(), "");
    machine.folder(RECOVERY_STATUS);
    EXPECT_EQ(pollsTrace(), folder);
    EXPECT_EQ(pollsTrace(), "");
}

TEST(RecoveryTrace, distinguishesErrorCodesWithTheSameLastDigit)
{
    machine.folder(RECOVERY_STATUS);
    pollsTrace();
    machine.remove(RECOVERY_STATUS);
    ASSERT_EQ(::mkfifo(RECOVERY_STATUS, 0600), 0);
    int const writer = ::open(RECOVERY_STATUS, O_RDWR | O_CLOEXEC); // Writes nothing.
    ASSERT_GE(writer, 0);
    EXPECT_EQ(pollsTrace(),
        "Failed to open status.ini. File /etc/dovrel/status.ini could not be read!: 11\n");
    EXPECT_EQ(pollsTrace(), "");
    ::close(writer);
    machine.remove(RECOVERY_STATUS);
    machine.folder(RECOVERY_STATUS);
    EXPECT_EQ(pollsTrace(),
        "Failed to open status.ini. File /etc/dovrel/status.ini could not be read!: 21\n");
}

TEST(RecoveryTrace, doesNotRepeatACauseAfterASuccessKept)
{
    machine.folder(RECOVERY_STATUS);
    pollsTrace();
    machine.remove(RECOVERY_STATUS);
    EXPECT_NE(pollsTrace(), "");
    machine.file(RECOVERY_STATUS, "[Main]\nStatus=1000\n");
    EXPECT_TRUE(pollRecovery());
    machine.remove(RECOVERY_STATUS);
    EXPECT_EQ(pollsTrace(), "");
    // An unreadable file counts as the same cause as a missing one.
    machine.file(RECOVERY_STATUS, "[Main]\nStatus=1000\n");
    std::filesystem::permissions(RECOVERY_STATUS, std::filesystem::perms::none);
    EXPECT_EQ(pollsTrace(), "");
}

TEST(RecoveryTrace, reportsAStatusFileThatIsTooLarge)
{
    machine.file(RECOVERY_STATUS, "[Main]\nStatus=1000\n");
    ASSERT_EQ(::truncate(RECOVERY_STATUS, (off_t{64} << 20) + 1), 0);
    pollsTrace();
    machine.remove(RECOVERY_STATUS);
    pollsTrace();
    machine.file(RECOVERY_STATUS, "[Main]\nStatus=1000\n");
    ASSERT_EQ(::truncate(RECOVERY_STATUS, (off_t{64} << 20) + 1), 0);
    EXPECT_EQ(
        pollsTrace(), "Failed to open status.ini. File /etc/dovrel/status.ini is too large!: 27\n");
}

TEST(RecoveryTrace, reportsAMissingStatusEveryTime)
{
    for (char const* const text : {"", "[Main]\n", "[Main]\nStatus=\n", "Status=5000\n",
             "[Main]\nStatus=\"\"\n", "[Main]\nStatus=;5000\n", "[Other]\nStatus=5000\n"}) {
        machine.file(RECOVERY_STATUS, text);
        EXPECT_EQ(pollsTrace(), "Failed to read \"Status\" from status.ini\n") << text;
        EXPECT_EQ(pollsTrace(), "Failed to read \"Status\" from status.ini\n") << text;
    }
}

TEST(RecoveryTrace, reportsTheFiguresOfARestore)
{
    machine.file(RECOVERY_STATUS, RUNNING_RESTORE);
    machine.file(RECOVERY_PERCENT, "73");
    CapturedTrace const trace(5);
    ASSERT_TRUE(pollRecovery(true));
    std::string const text = trace.text(5);
    EXPECT_EQ(text.substr(0, text.find("Average")),
        "Read: 200 / 50 and 1048576000 / 524288000\n"
        "Calculated metrics. Done 50/200 files, 500/1000 MB, percentage: 73\n");
    ASSERT_EQ(trace.lines().size(), 3U);
    EXPECT_EQ(trace.lines()[2].line.rfind("Average throughput: ", 0), 0U);
    EXPECT_EQ(trace.lines()[0].scope,
        "virtual dovrel::value_ptr<sysinfo::SystemInformation::CloneInfo> "
        "sysinfo::UNIXSystemInformation::getCloneInfo(bool&) const");
}

TEST(RecoveryTrace, reportsMissingCountersAsMinusOne)
{
    machine.file(RECOVERY_STATUS, "[Main]\nStatus=5000\nRestoreEnd=x\n");
    CapturedTrace const trace(5);
    ASSERT_TRUE(pollRecovery(true));
    EXPECT_EQ(trace.text(5),
        "Read: -1 / -1 and -1 / -1\n"
        "Calculated metrics. Done -1/-1 files, 0/0 MB, percentage: 100\n"
        "Average throughput: 0 MB/s\n");
}

TEST(RecoveryTrace, reportsOnlyTheIdleStateBeforeTheRestore)
{
    for (char const* const status : {"1000", "4000", "0"}) {
        machine.file(RECOVERY_STATUS, "[Main]\nStatus=" + std::string(status) + '\n');
        CapturedTrace const trace(5);
        ASSERT_TRUE(pollRecovery(true));
        EXPECT_EQ(trace.text(5), status == std::string("1000") ? "Idle state encountered\n" : "");
        EXPECT_EQ(trace.lines().size(), status == std::string("1000") ? 1U : 0U);
    }
}

TEST(RecoveryTrace, isSilentBelowItsLevels)
{
    for (std::string const& text : {RUNNING_RESTORE, std::string("[Main]\nStatus=1000\n")}) {
        machine.file(RECOVERY_STATUS, text);
        CapturedTrace const trace(4);
        ASSERT_TRUE(pollRecovery(true));
        EXPECT_TRUE(trace.lines().empty());
    }
    CapturedTrace const trace(0);
    machine.file(RECOVERY_STATUS, "");
    EXPECT_FALSE(pollRecovery());
    machine.folder("/etc/dovrel/other");
    machine.remove(RECOVERY_STATUS);
    EXPECT_FALSE(pollRecovery());
    machine.folder(RECOVERY_STATUS);
    EXPECT_FALSE(pollRecovery());
    EXPECT_TRUE(trace.lines().empty());
}
