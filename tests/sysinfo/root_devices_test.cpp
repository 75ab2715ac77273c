#include "sysinfo/UNIXSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/RemovedWorkingDirectory.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <set>
#include <string>

using sysinfo::getRootDevices;
using testkit::CapturedTrace;
using testkit::contentsOf;
using testkit::machine;

namespace {

using Names = std::set<std::string>;

/** Creates a device-mapper node and its link in /dev/mapper. */
void showVolume(std::string const& name, std::string const& node)
{
    machine.file("/dev/" + node, "");
    machine.link("/dev/mapper/" + name, "../" + node);
}

/** Makes a pvdisplay that prints @p output and logs each run. */
void showPhysicalVolumes(std::string const& output, std::string const& arguments = "-c")
{
    machine.file("/tmp/output", output);
    machine.tool("/sbin/pvdisplay",
        "[ \"$*\" = '" + arguments + "' ] || exit 9\necho run >>/tmp/runs\ncat /tmp/output");
}

size_t runs()
{
    if (!std::filesystem::exists("/tmp/runs"))
        return 0;
    std::string const noted = contentsOf("/tmp/runs");
    return static_cast<size_t>(std::count(noted.begin(), noted.end(), '\n'));
}

}

TEST(RootDevices, removeTheTrailingDigitsOfTheDevice)
{
    EXPECT_EQ(getRootDevices("/dev/sda3"), Names{"sda"});
    EXPECT_EQ(getRootDevices("/dev/sda"), Names{"sda"});
    EXPECT_EQ(getRootDevices("/dev/sdaa127"), Names{"sdaa"});
    EXPECT_EQ(getRootDevices("/dev/hd1a2"), Names{"hd1a"});
    EXPECT_EQ(getRootDevices("/dev/sda2:"), Names{"sda2:"});
}

TEST(RootDevices, keepTheLetterBeforeNvmePartitionDigitsKept)
{
    EXPECT_EQ(getRootDevices("/dev/nvme0n1p1"), Names{"nvme0n1p"});
    EXPECT_EQ(getRootDevices("/dev/mmcblk0p2"), Names{"mmcblk0p"});
    EXPECT_EQ(getRootDevices("/dev/md0"), Names{"md"});
    EXPECT_EQ(getRootDevices("/dev/123"), Names{""});
}

TEST(RootDevices, areUnknownForADeviceOutsideDev)
{
    for (char const* device : {"/dev/cciss/c0d0p1", "/tmp/image", "/dev", "/", "x:", "sda1", ":"}) {
        CapturedTrace trace;
        EXPECT_EQ(getRootDevices(device), Names{}) << device;
        ASSERT_EQ(trace.lines().size(), 1U) << device;
        EXPECT_EQ(
            trace.text(2), "Don't know what to do with device: " + std::string(device) + '\n');
        EXPECT_EQ(trace.lines()[0].scope,
            "std::set<std::string> sysinfo::getRootDevices(const boost::filesystem::path&)");
    }
}

TEST(RootDevices, areSilentBelowTheirTraceLevel)
{
    CapturedTrace trace(1);
    getRootDevices("/dev/cciss/c0d0p1");
    EXPECT_TRUE(trace.lines().empty());
}

TEST(RootDevices, runPvdisplayOnlyForVolumes)
{
    showPhysicalVolumes("");
    getRootDevices("/dev/sda3");
    getRootDevices("/dev/cciss/c0d0p1");
    getRootDevices("/dev/xdm-0");
    EXPECT_EQ(runs(), 0U);
}

TEST(RootDevices, ofAVolumeComeFromTheLinesOfItsGroup)
{
    showVolume("vg-root", "dm-0");
    showPhysicalVolumes("/dev/mapper/vg:/dev/sda2:rest\n/dev/mapper/vg:/dev/sdb:\n"
                        "/dev/mapper/other:/dev/sdc:rest\n");
    // The second field keeps its colon, which protects the digits.
    EXPECT_EQ(getRootDevices("/dev/dm-0"), (Names{"sda2:", "sdb:"}));
    EXPECT_EQ(runs(), 1U);
}

TEST(RootDevices, ofAVolumeAreEmptyForRealPvdisplayOutputKept)
{
    showVolume("vg-root", "dm-0");
    showPhysicalVolumes("  /dev/sda2:vg:974716928:-1:8:8:-1:4096:118984:0:118984:JkXv0A\n");
    CapturedTrace trace;
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{});
    EXPECT_TRUE(trace.lines().empty());
    EXPECT_EQ(runs(), 1U);
}

TEST(RootDevices, ofAVolumeRequireAnExactFirstFieldKept)
{
    showVolume("vg-root", "dm-0");
    for (char const* line :
        {"  /dev/mapper/vg:/dev/sda:", "/dev/mapper/vg :/dev/sda:", "/dev/mapper/vg",
            "/dev/mapper/vg:/dev/sda", "/dev/mapper/v:/dev/sda:", "/dev/mapper/vg-root:/dev/sda:",
            "vg:/dev/sda:", "", ":", "::", ":/dev/sda:", "/dev/sda:/dev/mapper/vg:"}) {
        showPhysicalVolumes(std::string(line) + '\n');
        EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{}) << line;
    }
    showPhysicalVolumes("/dev/mapper/vg:/dev/sda::::\n/dev/mapper/vg:/dev/sdb:x");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), (Names{"sda:", "sdb:"}));
}

TEST(RootDevices, ofAVolumeSkipUnknownDevices)
{
    showVolume("vg-root", "dm-0");
    showPhysicalVolumes("/dev/mapper/vg:x:rest\n/dev/mapper/vg:/dev/sda:\n/dev/mapper/vg::\n");
    CapturedTrace trace;
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{"sda:"});
    EXPECT_EQ(trace.text(2),
        "Don't know what to do with device: x:\nDon't know what to do with device: :\n");
    EXPECT_EQ(trace.lines().size(), 2U);
}

TEST(RootDevices, ofAVolumeComeFromTheRecordedOutput)
{
    showVolume("vg-root", "dm-0");
    std::string const folder = "/testkit/recorded/pvdisplay-c/";
    showPhysicalVolumes(contentsOf(folder + "fake-good.txt"));
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{});
    showPhysicalVolumes(contentsOf(folder + "fake-odd.txt"));
    EXPECT_EQ(getRootDevices("/dev/dm-0"), (Names{"sda2:", "sdb:", "sdh9:"}));
    showPhysicalVolumes(contentsOf(folder + "fake-broken.txt"));
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{"sda:"});
}

TEST(RootDevices, ofAVolumeUseItsNameUpToTheFirstDashKept)
{
    showVolume("my--group-root", "dm-0");
    showPhysicalVolumes("/dev/mapper/my:/dev/sda:\n/dev/mapper/my--group:/dev/sdb:\n");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{"sda:"});
}

TEST(RootDevices, ofAVolumeUseItsWholeNameWithoutADash)
{
    showVolume("cryptroot", "dm-3");
    showPhysicalVolumes("/dev/mapper/cryptroot:/dev/sda:\n/dev/mapper/crypt:/dev/sdb:\n");
    EXPECT_EQ(getRootDevices("/dev/dm-3"), Names{"sda:"});
}

TEST(RootDevices, ofAVolumeAcceptTheLongestGroupName)
{
    std::string const group = "+_." + std::string(124, 'g');
    showVolume(group + "-root", "dm-0");
    showPhysicalVolumes("/dev/mapper/" + group + ":/dev/sda:\n");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{"sda:"});
}

TEST(RootDevices, ofAVolumeUseTheLinkToItsNode)
{
    showVolume("a-root", "dm-0");
    showVolume("b-root", "dm-1");
    machine.file("/dev/mapper/control", "");
    showPhysicalVolumes("/dev/mapper/a:/dev/sda:\n/dev/mapper/b:/dev/sdb:\n");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{"sda:"});
    EXPECT_EQ(getRootDevices("/dev/dm-1"), Names{"sdb:"});
}

TEST(RootDevices, ofAVolumeAreEmptyWithoutALinkToItsNode)
{
    showVolume("a-root", "dm-0");
    showPhysicalVolumes("/dev/mapper/a:/dev/sda:\n");
    EXPECT_EQ(getRootDevices("/dev/dm-7"), Names{});
    EXPECT_EQ(getRootDevices("/dev/block/dm-0"), Names{});
    machine.remove("/dev/mapper/a-root");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{});
    EXPECT_EQ(runs(), 0U) << "pvdisplay ran without need";
}

TEST(RootDevices, ofAVolumeAreEmptyWhenPvdisplayFails)
{
    showVolume("vg-root", "dm-0");
    machine.tool("/sbin/pvdisplay", "exit 5");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{});
    machine.tool("/sbin/pvdisplay", "kill -9 $$");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{});
}

TEST(RootDevices, ofAVolumeAreEmptyWithoutPvdisplay)
{
    showVolume("vg-root", "dm-0");
    CapturedTrace trace;
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{});
    EXPECT_TRUE(trace.lines().empty());
}

TEST(RootDevices, ofAVolumeComeFromTheOutputOfAFailingPvdisplay)
{
    showVolume("vg-root", "dm-0");
    machine.tool("/sbin/pvdisplay", "echo /dev/mapper/vg:/dev/sda:; exit 5");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{"sda:"});
}

TEST(RootDevices, ofAVolumeComeFromAThousandLines)
{
    showVolume("vg-root", "dm-0");
    std::string output;
    for (unsigned i = 0; i < 1'000; ++i)
        output += "/dev/mapper/vg:/dev/sd" + std::to_string(i) + "x:rest of the line\n";
    showPhysicalVolumes(output);
    Names const names = getRootDevices("/dev/dm-0");
    EXPECT_EQ(names.size(), 1'000U);
    EXPECT_EQ(names.count("sd999x:"), 1U);
}

TEST(RootDevices, ofAVolumeOnAVolumeIncludeThoseOfBoth)
{
    showVolume("upper-root", "dm-0");
    showVolume("lower-pv", "dm-1:");
    showPhysicalVolumes("/dev/mapper/upper:/dev/dm-1:\n/dev/mapper/upper:/dev/sda:\n"
                        "/dev/mapper/lower:/dev/sdb:\n");
    EXPECT_EQ(getRootDevices("/dev/dm-0"), (Names{"sda:", "sdb:"}));
    EXPECT_EQ(runs(), 2U);
}

TEST(RootDevices, ofAVolumeOnItselfAreFound)
{
    // With device names that end in a colon, the tool's output can form a cycle.
    showVolume("a-root", "dm-0:");
    showVolume("b-root", "dm-1:");
    showPhysicalVolumes("/dev/mapper/a:/dev/dm-0:\n/dev/mapper/a:/dev/dm-1:\n"
                        "/dev/mapper/b:/dev/dm-0:\n/dev/mapper/b:/dev/sda:\n"
                        "/dev/mapper/a:/dev/dm-1:\n/dev/mapper/a:/dev/sdb:\n");
    EXPECT_EQ(getRootDevices("/dev/dm-0:"), (Names{"sda:", "sdb:"}));
    EXPECT_EQ(runs(), 2U);
    EXPECT_EQ(getRootDevices("/dev/dm-1:"), (Names{"sda:", "sdb:"}));
}

TEST(RootDevices, throwWhenDevMapperIsMissing)
{
    testkit::DescriptorGuard const guard;
    for (unsigned i = 0; i < 10'000; ++i)
        ASSERT_THROW(getRootDevices("/dev/dm-0"), boost::filesystem::filesystem_error);
    EXPECT_EQ(getRootDevices("/dev/sda1"), Names{"sda"});
}

TEST(RootDevices, throwWhenALinkInDevMapperDangles)
{
    testkit::DescriptorGuard const guard;
    machine.link("/dev/mapper/gone-root", "../dm-9");
    for (unsigned i = 0; i < 10'000; ++i)
        ASSERT_THROW(getRootDevices("/dev/dm-0"), boost::filesystem::filesystem_error);
}

TEST(RootDevices, areFoundWithoutAWorkingDirectory)
{
    showVolume("vg-root", "dm-0");
    showPhysicalVolumes("/dev/mapper/vg:/dev/sda:\n");
    testkit::RemovedWorkingDirectory const gone;
    EXPECT_EQ(getRootDevices("/dev/dm-0"), Names{"sda:"});
}

TEST(RootDevices, throwAndTraceTheLinkAndItsError)
{
    struct Case {
        char const* target;
        int code;
        char const* cause;
    };
    machine.file("/dev/locked/dm-1", "");
    ASSERT_EQ(::chmod("/dev/locked", 0), 0);
    for (bool const hasWorkingDirectory : {true, false}) {
        std::optional<testkit::RemovedWorkingDirectory> gone;
        if (!hasWorkingDirectory)
            gone.emplace();
        for (auto const& [target, code, cause] :
            {Case{"../dm-9", ENOENT, "No such file or directory"},
                Case{"gone-root", ELOOP, "Too many levels of symbolic links"},
                Case{"../locked/dm-1", EACCES, "Permission denied"}}) {
            machine.link("/dev/mapper/gone-root", target);
            CapturedTrace trace;
            try {
                getRootDevices("/dev/dm-0");
                ADD_FAILURE() << target;
            } catch (boost::filesystem::filesystem_error const& error) {
                EXPECT_EQ(error.path1(), "/dev/mapper/gone-root");
                EXPECT_EQ(error.path2(), "");
                EXPECT_EQ(error.code().value(), code);
                EXPECT_EQ(std::string(error.what()).find("boost::filesystem::canonical"), 0U)
                    << error.what();
            }
            EXPECT_EQ(trace.text(1),
                std::string("Failed to follow /dev/mapper/gone-root to its device: ") + cause
                    + '\n');
            machine.remove("/dev/mapper/gone-root");
        }
    }
    ASSERT_EQ(::chmod("/dev/locked", 0755), 0);
}

TEST(RootDevices, throwAndTraceTheFolderAndItsError)
{
    CapturedTrace trace;
    try {
        getRootDevices("/dev/dm-0");
        ADD_FAILURE();
    } catch (boost::filesystem::filesystem_error const& error) {
        EXPECT_EQ(error.path1(), "/dev/mapper");
        EXPECT_EQ(error.code().value(), ENOENT);
    }
    EXPECT_EQ(trace.text(1), "Failed to read the folder /dev/mapper: No such file or directory\n");
    EXPECT_EQ(trace.lines().size(), 1U);
}

TEST(RootDevices, throwFromANestedVolumeAndLeaveNoChild)
{
    testkit::DescriptorGuard const guard;
    machine.tool("/sbin/pvdisplay",
        "rm -r /dev/mapper\necho /dev/mapper/vg:/dev/dm-1:\n"
        "echo /dev/mapper/vg:/dev/sda:");
    for (unsigned i = 0; i < 100; ++i) {
        showVolume("vg-root", "dm-0");
        ASSERT_THROW(getRootDevices("/dev/dm-0"), boost::filesystem::filesystem_error);
    }
    testkit::expectNoChildren();
}
