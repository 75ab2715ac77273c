#include "sysinfo/UNIXSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/GlobalLocale.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"
#include "tests/sysinfo/ReadCalls.h"
#include "tests/sysinfo/null_object.h"
#include "tests/sysinfo/record_text.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <locale>
#include <string>
#include <type_traits>

using testkit::calls;
using testkit::CapturedTrace;
using testkit::GlobalLocale;
using testkit::machine;

namespace {

using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;
using CPUInfo = sysinfo::SystemInformation::CPUInfo;

constexpr char CPU0[] = "/sys/devices/system/cpu/cpu0/cpufreq/";

/** Reads both speeds from files with the same contents. @return the speed. */
unsigned int speedFrom(std::string_view contents)
{
    machine.file(std::string(CPU0) + "scaling_cur_freq", contents);
    machine.file(std::string(CPU0) + "bios_limit", contents);
    UNIXCPUInfo const processor(0);
    EXPECT_EQ(processor.getCurrentSpeedInMHZ(), processor.getMaxSpeedInMHZ());
    return processor.getCurrentSpeedInMHZ();
}

void expectNoSpeeds()
{
    CapturedTrace trace;
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentSpeedInMHZ(), 0U);
    EXPECT_EQ(UNIXCPUInfo(0).getMaxSpeedInMHZ(), 0U);
    EXPECT_TRUE(trace.lines().empty()) << trace.lines()[0];
}

/** A host's number format, such as 1.234,5. */
class Grouping : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    char do_decimal_point() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
};

class WideGrouping : public std::numpunct<wchar_t> {
    wchar_t do_thousands_sep() const override { return L'.'; }
    wchar_t do_decimal_point() const override { return L','; }
    std::string do_grouping() const override { return "\3"; }
};

}

TEST(CPUSpeed, convertsKilohertzToWholeMegahertz)
{
    EXPECT_EQ(speedFrom("2400000\n"), 2400U);
    EXPECT_EQ(speedFrom("2400999\n"), 2400U);
    EXPECT_EQ(speedFrom("1000\n"), 1U);
    EXPECT_EQ(speedFrom("999\n"), 0U);
    EXPECT_EQ(speedFrom("4294967295\n"), 4294967U);
}

TEST(CPUSpeed, acceptsLeadingBlanksAndAMissingNewline)
{
    EXPECT_EQ(speedFrom("2400000"), 2400U);
    EXPECT_EQ(speedFrom(" \t\n2400000 1000\r\n"), 2400U);
}

TEST(CPUSpeed, isZeroWhenTheFileHasNoNumber)
{
    EXPECT_EQ(speedFrom("<unknown>\n"), 0U);
    EXPECT_EQ(speedFrom(""), 0U);
    EXPECT_EQ(speedFrom("\n"), 0U);
    EXPECT_EQ(speedFrom(std::string_view("\0\0\0", 3)), 0U);
}

TEST(CPUSpeed, isReadFromTheProcessorsOwnFiles)
{
    machine.file(std::string(CPU0) + "scaling_cur_freq", "1200000\n");
    machine.file(std::string(CPU0) + "bios_limit", "2400000\n");
    machine.file("/sys/devices/system/cpu/cpu7/cpufreq/scaling_cur_freq", "700000\n");
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentSpeedInMHZ(), 1200U);
    EXPECT_EQ(UNIXCPUInfo(0).getMaxSpeedInMHZ(), 2400U);
    EXPECT_EQ(UNIXCPUInfo(7).getCurrentSpeedInMHZ(), 700U);
    EXPECT_EQ(UNIXCPUInfo(7).getMaxSpeedInMHZ(), 0U);
}

TEST(CPUSpeed, isReadAgainOnEveryCall)
{
    EXPECT_EQ(speedFrom("2400000\n"), 2400U);
    EXPECT_EQ(speedFrom("800000\n"), 800U);
}

TEST(CPUSpeed, isZeroAndUntracedWhenTheFilesAreMissing)
{
    expectNoSpeeds();
    machine.folder(CPU0);
    expectNoSpeeds();
}

TEST(CPUSpeed, isZeroWhenTheFileIsUnreadable)
{
    for (char const* name : {"scaling_cur_freq", "bios_limit"}) {
        machine.file(std::string(CPU0) + name, "2400000\n");
        std::filesystem::permissions(std::string(CPU0) + name, std::filesystem::perms::none);
    }
    expectNoSpeeds();
}

TEST(CPUSpeed, isZeroWhenTheFolderIsUnreadable)
{
    speedFrom("2400000\n");
    std::filesystem::permissions(CPU0, std::filesystem::perms::none);
    expectNoSpeeds();
}

TEST(CPUSpeed, isZeroForAFolderALinkLoopAndADanglingLink)
{
    machine.folder(std::string(CPU0) + "scaling_cur_freq");
    machine.link(std::string(CPU0) + "bios_limit", "bios_limit");
    expectNoSpeeds();
    machine.remove(std::string(CPU0) + "scaling_cur_freq");
    machine.remove(std::string(CPU0) + "bios_limit");
    machine.link(std::string(CPU0) + "scaling_cur_freq", "nowhere");
    machine.link(std::string(CPU0) + "bios_limit", "/nowhere");
    expectNoSpeeds();
}

TEST(CPUSpeed, isZeroForAFifoWithoutAWriter)
{
    machine.folder(CPU0);
    ASSERT_EQ(::mkfifo((std::string(CPU0) + "scaling_cur_freq").c_str(), 0644), 0);
    expectNoSpeeds();
}

TEST(CPUSpeed, isZeroWhenTheReadFails)
{
    std::string const path = std::string(CPU0) + "scaling_cur_freq";
    machine.file(path, "2400000\n");
    testkit::ReadCalls reads(path);
    reads.failBehind(0, EBUSY);
    expectNoSpeeds();
    EXPECT_EQ(reads.failures(), 1U);
}

TEST(CPUSpeed, mayExceedTheMaximum)
{
    machine.file(std::string(CPU0) + "scaling_cur_freq", "2891907\n");
    machine.file(std::string(CPU0) + "bios_limit", "2300000\n");
    EXPECT_EQ(UNIXCPUInfo(0).getCurrentSpeedInMHZ(), 2891U);
    EXPECT_EQ(UNIXCPUInfo(0).getMaxSpeedInMHZ(), 2300U);
}

TEST(CPUSpeed, followsTheLinkToAPolicy)
{
    machine.file("/sys/devices/system/cpu/cpufreq/policy3/scaling_cur_freq", "1800000\n");
    machine.file("/sys/devices/system/cpu/cpufreq/policy3/bios_limit", "3600000\n");
    machine.link("/sys/devices/system/cpu/cpu3/cpufreq", "../cpufreq/policy3");
    EXPECT_EQ(UNIXCPUInfo(3).getCurrentSpeedInMHZ(), 1800U);
    EXPECT_EQ(UNIXCPUInfo(3).getMaxSpeedInMHZ(), 3600U);
}

TEST(CPUInfoText, isOneLine)
{
    machine.file(std::string(CPU0) + "scaling_cur_freq", "1200000\n");
    machine.file(std::string(CPU0) + "bios_limit", "2400000\n");
    machine.file("/proc/stat", "cpu0 50 0 0 100 0 0 0\n");
    calls.onSleep([](int64_t) { machine.file("/proc/stat", "cpu0 60 0 0 170 0 0 0\n"); });
    EXPECT_EQ(textOf(UNIXCPUInfo(0)), "0 running at 1200 / 2400 MHz usage: 12.5%");
}

TEST(CPUInfoText, showsZerosWhenTheFilesAreMissing)
{
    EXPECT_EQ(textOf(UNIXCPUInfo(4294967295)), "4294967295 running at 0 / 0 MHz usage: 0%");
}

TEST(CPUInfoText, callsTheVirtualUsageMaximumAndCurrentSpeedInThatOrder)
{
    class Asked : public UNIXCPUInfo {
    public:
        using UNIXCPUInfo::UNIXCPUInfo;
        float getCurrentUsage() const override { return order += "usage ", 33.3333333F; }
        unsigned int getMaxSpeedInMHZ() const override { return order += "maximum ", 9U; }
        unsigned int getCurrentSpeedInMHZ() const override { return order += "current ", 8U; }
        mutable std::string order;
    };
    Asked const processor(7);
    EXPECT_EQ(textOf(processor), "7 running at 8 / 9 MHz usage: 33.3333%");
    EXPECT_EQ(processor.order, "usage maximum current ");
}

TEST(CPUInfo, ignoresTheHostsNumberFormat)
{
    std::locale const host(std::locale(std::locale::classic(), new Grouping), new WideGrouping);
    GlobalLocale const installed(host);
    // With the host's separator, the dot would be in the wrong place.
    machine.file("/sys/devices/system/cpu/cpu1024/cpufreq/scaling_cur_freq", "1200000.000\n");
    machine.file("/sys/devices/system/cpu/cpu1024/cpufreq/bios_limit", "2400000\n");
    machine.file("/proc/stat", "cpu1024 5000 0 0 10000 0 0 0\n");
    calls.onSleep([](int64_t) {
        std::string const text = "cpu1024 6000 0 0 17000 0 0 0\n";
        machine.file("/proc/stat", text);
    });
    CapturedTrace trace(3);
    EXPECT_EQ(textOf(UNIXCPUInfo(1024)), "1024 running at 1200 / 2400 MHz usage: 12.5%");
    EXPECT_TRUE(trace.contains(3, "usage: 10000 5000 17000 6000 -> 12.5\n"));
}

TEST(CPUInfo, clonesToItsOwnClassAndIndex)
{
    UNIXCPUInfo const original(5);
    dovrel::value_ptr<CPUInfo> const copy(original.clone());
    ASSERT_TRUE(copy);
    EXPECT_NE(copy.get(), static_cast<CPUInfo const*>(&original));
    EXPECT_NE(dynamic_cast<UNIXCPUInfo const*>(copy.get()), nullptr);
    EXPECT_EQ(textOf(*copy), "5 running at 0 / 0 MHz usage: 0%");
}

TEST(CPUInfo, clonesAndIsDestroyedThroughCloneable)
{
    dovrel::Cloneable<CPUInfo>* const original = new UNIXCPUInfo(6);
    CPUInfo* const copy = original->clone();
    original->destroy();
    EXPECT_EQ(textOf(*copy), "6 running at 0 / 0 MHz usage: 0%");
    dovrel::Cloneable<CPUInfo>& cloneableSide = *copy;
    cloneableSide.destroy();
}

TEST(CPUInfo, destroyCallsTheVirtualDestructor)
{
    class Watched : public UNIXCPUInfo {
    public:
        explicit Watched(int& deleted) : UNIXCPUInfo(0), m_deleted(deleted) { }
        Watched(Watched const&) = delete;
        Watched& operator=(Watched const&) = delete;
        ~Watched() override { ++m_deleted; }

    private:
        int& m_deleted;
    };
    int deleted = 0;
    auto* const processor = new Watched(deleted);
    processor->UNIXCPUInfo::destroy();
    EXPECT_EQ(deleted, 1);
}

TEST(CPUInfo, destroyIgnoresNullKept)
{
    testkit::destroyNull<UNIXCPUInfo>();
}

TEST(CPUInfo, hasAnExplicitConstructor)
{
    EXPECT_FALSE((std::is_convertible_v<unsigned int, UNIXCPUInfo>));
    EXPECT_TRUE((std::is_constructible_v<UNIXCPUInfo, unsigned int>));
}
