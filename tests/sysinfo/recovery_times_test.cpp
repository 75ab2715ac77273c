// The engine writes local dates; mktime(3) converts them to seconds.

#include "tests/support/Machine.h"
#include "tests/sysinfo/recovery_files.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

using testkit::machine;
using testkit::pollRecovery;

namespace {

// Rules, which need no zone files.
constexpr char UTC[] = "UTC0";
constexpr char BERLIN[] = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr char NEW_YORK[] = "EST5EDT,M3.2.0,M11.1.0";
constexpr char KOLKATA[] = "IST-5:30";
constexpr char const* ZONES[] = {UTC, BERLIN, NEW_YORK, KOLKATA};

class ZoneScope {
public:
    explicit ZoneScope(char const* zone)
    {
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ZoneScope(ZoneScope const&) = delete;
    ZoneScope& operator=(ZoneScope const&) = delete;
    ~ZoneScope()
    {
        ::unsetenv("TZ");
        ::tzset();
    }
};

/** Polls with @p text for all four dates. @return their common time. */
long secondsOf(std::string const& text)
{
    machine.file(testkit::RECOVERY_STATUS,
        "[main]\nStatus=5000\nRecoverStart=" + text + "\nRecoverEnd=" + text
            + "\nRestoreStart=" + text + "\nRestoreEnd=\"" + text + "\"\n");
    testkit::RecoveryRecord const record = pollRecovery();
    EXPECT_TRUE(record);
    if (!record)
        return -4711;
    EXPECT_EQ(record->getRecoverEndTime(), record->getRecoverStartTime()) << text;
    EXPECT_EQ(record->getRestoreStartTime(), record->getRecoverStartTime()) << text;
    if (!text.empty()) {
        EXPECT_EQ(record->getRestoreEndTime(), record->getRecoverStartTime()) << text;
    }
    return record->getRecoverStartTime();
}

/** @return mktime(3) of a local date without the daylight flag. */
long mktimeOf(int year, int month, int day, int hour = 0, int minute = 0, int second = 0)
{
    tm brokenDown{};
    brokenDown.tm_year = year - 1900;
    brokenDown.tm_mon = month - 1;
    brokenDown.tm_mday = day;
    brokenDown.tm_hour = hour;
    brokenDown.tm_min = minute;
    brokenDown.tm_sec = second;
    return static_cast<long>(::mktime(&brokenDown));
}

}

TEST(RecoveryTime, isTheLocalTimeInSeconds)
{
    struct {
        char const* zone;
        long seconds;
    } const cases[] = {{UTC, 1364133909}, {BERLIN, 1364133909 - 3600},
        {NEW_YORK, 1364133909 + 5 * 3600}, {KOLKATA, 1364133909 - 19800}};
    for (auto const& [zone, seconds] : cases) {
        ZoneScope const scope(zone);
        EXPECT_EQ(secondsOf("24-03-2013 14:05:09"), seconds) << zone;
    }
}

TEST(RecoveryTime, readsSummerDatesAsStandardTimeKept)
{
    ZoneScope const scope(BERLIN);
    // 14:05:09 standard time is 15:05:09 in summer time.
    EXPECT_EQ(secondsOf("24-07-2013 14:05:09"), 1374671109);
    time_t const seconds = 1374671109;
    tm shown{};
    ASSERT_NE(::localtime_r(&seconds, &shown), nullptr);
    EXPECT_EQ(shown.tm_hour, 15);
    EXPECT_EQ(shown.tm_isdst, 1);
}

TEST(RecoveryTime, agreesWithMktimeInEveryZone)
{
    for (char const* const zone : ZONES) {
        SCOPED_TRACE(zone);
        ZoneScope const scope(zone);
        EXPECT_EQ(secondsOf("24-03-2013 14:05:09"), mktimeOf(2013, 3, 24, 14, 5, 9));
        EXPECT_EQ(
            secondsOf("31-03-2013 02:30:00"), mktimeOf(2013, 3, 31, 2, 30)); // A skipped hour.
        EXPECT_EQ(
            secondsOf("27-10-2013 02:30:00"), mktimeOf(2013, 10, 27, 2, 30)); // A repeated hour.
        EXPECT_EQ(secondsOf("10-03-2013 02:30:00"), mktimeOf(2013, 3, 10, 2, 30));
        EXPECT_EQ(secondsOf("29-02-2012 23:59:59"), mktimeOf(2012, 2, 29, 23, 59, 59));
        EXPECT_EQ(secondsOf("29-02-2013 00:00:00"), mktimeOf(2013, 3, 1));
        EXPECT_EQ(secondsOf("31-04-2013 00:00:00"), mktimeOf(2013, 5, 1));
        EXPECT_EQ(secondsOf("30-06-2012 23:59:60"), mktimeOf(2012, 7, 1));
        EXPECT_EQ(secondsOf("1-1-2013 1:2:3"), mktimeOf(2013, 1, 1, 1, 2, 3));
    }
}

TEST(RecoveryTime, agreesWithMktimeBeforeTheEpochAndBeyond32Bits)
{
    for (char const* const zone : ZONES) {
        SCOPED_TRACE(zone);
        ZoneScope const scope(zone);
        EXPECT_EQ(secondsOf("31-12-1969 23:59:58"), mktimeOf(1969, 12, 31, 23, 59, 58));
        EXPECT_EQ(secondsOf("01-01-1910 00:00:00"), mktimeOf(1910, 1, 1));
        EXPECT_EQ(secondsOf("01-01-1900 00:00:00"), mktimeOf(1900, 1, 1));
        EXPECT_EQ(secondsOf("19-01-2038 03:14:07"), mktimeOf(2038, 1, 19, 3, 14, 7));
        EXPECT_EQ(secondsOf("20-01-2038 03:14:08"), mktimeOf(2038, 1, 20, 3, 14, 8));
        EXPECT_EQ(secondsOf("01-01-9999 00:00:00"), mktimeOf(9999, 1, 1));
    }
}

TEST(RecoveryTime, acceptsTheLastSecondOf32Bits)
{
    ZoneScope const scope(UTC);
    EXPECT_EQ(secondsOf("19-01-2038 03:14:07"), 2147483647);
    EXPECT_EQ(secondsOf("13-12-1901 20:45:52"), -2147483647 - 1);
    EXPECT_EQ(secondsOf("31-12-1969 23:59:59"), -1);
    // mktime(3) returns -1 if time_t cannot hold the next second.
    long const next = secondsOf("19-01-2038 03:14:08");
    if constexpr (sizeof(long) == 4)
        EXPECT_EQ(next, -1);
    else
        EXPECT_EQ(next - 1, 2147483647);
}

TEST(RecoveryTime, isMktimeOfZerosWithoutADateKept)
{
    for (char const* const zone : ZONES) {
        SCOPED_TRACE(zone);
        ZoneScope const scope(zone);
        long const zeroed = mktimeOf(1900, 1, 0);
        for (char const* const text :
            {"", "x", "never", "-", "39", "32-01-2013 00:00:00", "00-01-2013 00:00:00"})
            EXPECT_EQ(secondsOf(text), zeroed) << text;
    }
}

TEST(RecoveryTime, usesTheFieldsThatWereParsedKept)
{
    for (char const* const zone : ZONES) {
        SCOPED_TRACE(zone);
        ZoneScope const scope(zone);
        EXPECT_EQ(secondsOf("24"), mktimeOf(1900, 1, 24));
        EXPECT_EQ(secondsOf("24-03"), mktimeOf(1900, 3, 24));
        EXPECT_EQ(secondsOf("24-13-2013 10:00:00"), mktimeOf(1900, 1, 24));
        EXPECT_EQ(secondsOf("24-03-2013"), mktimeOf(2013, 3, 24));
        EXPECT_EQ(secondsOf("24-03-2013 14"), mktimeOf(2013, 3, 24, 14));
        EXPECT_EQ(secondsOf("24-03-2013 14:05"), mktimeOf(2013, 3, 24, 14, 5));
        EXPECT_EQ(secondsOf("24-03-2013 14:xx:09"), mktimeOf(2013, 3, 24, 14));
        // strptime(3) takes only the first 9 for the minutes.
        EXPECT_EQ(secondsOf("24-03-2013 14:99:09"), mktimeOf(2013, 3, 24, 14, 9));
        EXPECT_EQ(secondsOf("24-03-2013 14:05:09 and more"), mktimeOf(2013, 3, 24, 14, 5, 9));
        EXPECT_EQ(secondsOf("24-03-2013T14:05:09"), mktimeOf(2013, 3, 24));
    }
}

TEST(RecoveryTime, hasAKeyForEachKind)
{
    ZoneScope const scope(UTC);
    machine.file(testkit::RECOVERY_STATUS,
        "[main]\nStatus=5000\nRecoverStart=24-03-2013 14:05:09\nRecoverEnd=24-03-2013 14:05:10\n"
        "RestoreStart=24-03-2013 14:05:11\nRestoreEnd=24-03-2013 14:05:12\n");
    testkit::RecoveryRecord const record = pollRecovery();
    ASSERT_TRUE(record);
    EXPECT_EQ(record->getRecoverStartTime(), 1364133909);
    EXPECT_EQ(record->getRecoverEndTime(), 1364133910);
    EXPECT_EQ(record->getRestoreStartTime(), 1364133911);
    EXPECT_EQ(record->getRestoreEndTime(), 1364133912);
}

TEST(RecoveryTime, ofTheRecoveryIsSetBeforeTheRestore)
{
    ZoneScope const scope(UTC);
    machine.file(testkit::RECOVERY_STATUS,
        "[main]\nStatus=4000\nRecoverStart=24-03-2013 14:05:09\nRecoverEnd=24-03-2013 14:05:10\n"
        "RestoreStart=24-03-2013 14:05:11\nRestoreEnd=24-03-2013 14:05:12\n");
    testkit::RecoveryRecord const record = pollRecovery();
    ASSERT_TRUE(record);
    EXPECT_EQ(record->getRecoverStartTime(), 1364133909);
    EXPECT_EQ(record->getRecoverEndTime(), 1364133910);
    EXPECT_EQ(record->getRestoreStartTime(), 0);
    EXPECT_EQ(record->getRestoreEndTime(), testkit::RECOVERY_NOW);
}

TEST(RecoveryTime, ofTheRestoresEndIsNowUntilItIsWritten)
{
    ZoneScope const scope(UTC);
    bool unavailable = true;
    sysinfo::LinuxSystemInformation const information;
    std::string const running =
        "[main]\nStatus=5000\nRestoreStart=13-05-2014 16:53:20\n[RestoreStatus]\n"
        "BytesDone=104857600\n[main]\n";
    machine.file(testkit::RECOVERY_STATUS, running);
    for (time_t const elapsed : {0, 1, 2, 10, 100}) {
        testkit::calls.onTime([elapsed] { return testkit::RECOVERY_NOW + elapsed; });
        testkit::RecoveryRecord const record = information.getCloneInfo(unavailable);
        ASSERT_TRUE(record);
        EXPECT_EQ(record->getRestoreEndTime(), testkit::RECOVERY_NOW + elapsed);
        EXPECT_EQ(record->getThroughput(), static_cast<double>(100 / (elapsed < 1 ? 1 : elapsed)));
    }
    machine.file(testkit::RECOVERY_STATUS, running + "RestoreEnd=13-05-2014 16:53:40\n");
    testkit::RecoveryRecord const record = information.getCloneInfo(unavailable);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->getRestoreEndTime(), testkit::RECOVERY_NOW + 20);
    EXPECT_EQ(record->getThroughput(), 5.0);
}

TEST(RecoveryTime, countsARestoreOfNoLengthAsOneSecond)
{
    ZoneScope const scope(UTC);
    for (char const* const end : {"13-05-2014 16:53:20", "13-05-2014 16:53:21",
             "13-05-2014 16:00:00", "01-01-2000 00:00:00"}) {
        machine.file(testkit::RECOVERY_STATUS,
            "[main]\nStatus=5001\nRestoreStart=13-05-2014 16:53:20\nRestoreEnd=" + std::string(end)
                + "\n[RestoreStatus]\nBytesDone=7340032\n");
        testkit::RecoveryRecord const record = pollRecovery();
        ASSERT_TRUE(record);
        EXPECT_EQ(record->getThroughput(), 7.0) << end;
    }
}

TEST(RecoveryTime, usesTheRealClock)
{
    machine.file(testkit::RECOVERY_STATUS, "[main]\nStatus=1000\n");
    bool unavailable = true;
    time_t const before = ::time(nullptr);
    testkit::RecoveryRecord const record =
        sysinfo::LinuxSystemInformation().getCloneInfo(unavailable);
    ASSERT_TRUE(record);
    EXPECT_GE(record->getRestoreEndTime(), before);
    EXPECT_LE(record->getRestoreEndTime(), ::time(nullptr));
}
