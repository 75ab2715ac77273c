#include "app/read/MountReader.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/support/Machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sys/sysmacros.h>

using app::Disk;
using app::Machine;
using app::Mount;
using app_read_test::FakeCalls;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testkit::machine;

namespace {

constexpr char const* ROOT = "1 1 8:1 / / rw - ext4 /dev/sda1 rw\n";

/** Of 1,000 blocks, of which 400 are free, 50 of those for the superuser. */
struct statvfs filesystem(unsigned long unit)
{
    struct statvfs status { };
    status.f_bsize = 65536; // Preferred for input and output; counts nothing.
    status.f_frsize = unit;
    status.f_blocks = 1000;
    status.f_bfree = 400;
    status.f_bavail = 350;
    status.f_files = 64;
    status.f_ffree = 60;
    return status;
}

std::vector<Disk> disks()
{
    Disk sda;
    sda.name = "sda";
    sda.device = "8:0";
    Disk sda1;
    sda1.name = "sda1";
    sda1.device = "8:1";
    sda1.type = Disk::PARTITION;
    sda1.parent = "sda";
    return {sda, sda1};
}

Machine readMounts(std::chrono::milliseconds limit = std::chrono::seconds(20))
{
    Machine found;
    app::MountReader reader(found, disks(), limit);
    reader.finish(found);
    return found;
}

Mount foundMount()
{
    Machine const found = readMounts();
    EXPECT_TRUE(found.mounts && found.mounts->size() == 1);
    return found.mounts && !found.mounts->empty() ? found.mounts->front() : Mount();
}

Mount readRoot(struct statvfs const& status)
{
    machine.file("/proc/self/mountinfo", ROOT);
    FakeCalls calls;
    calls.filesystems["/"] = status;
    return foundMount();
}

/** Mounts filesystems at "/m0", "/m1" and so on. @return these paths. */
std::vector<std::string> mountMany(int count, FakeCalls& calls)
{
    std::string table;
    std::vector<std::string> paths;
    for (int i = 0; i < count; ++i) {
        std::string const number = std::to_string(i);
        paths.push_back("/m" + number);
        table += "1" + number + " 1 9:" + number + " / " + paths.back() + " rw - ext4 /dev/x"
            + number + " rw\n";
        calls.filesystems[paths.back()] = filesystem(4096);
    }
    machine.file("/proc/self/mountinfo", table);
    return paths;
}

std::vector<std::string> sourcesOf(std::vector<app::Problem> const& problems)
{
    std::vector<std::string> sources;
    for (app::Problem const& problem : problems)
        sources.push_back(problem.source);
    return sources;
}

auto countSizes(Machine const& found)
{
    return std::count_if(found.mounts->begin(), found.mounts->end(),
        [](Mount const& mount) { return mount.size.has_value(); });
}

}

TEST(MountReader, countsAsDfDoes)
{
    Mount const mount = readRoot(filesystem(4096));
    EXPECT_EQ(mount.size, 4096000U);
    EXPECT_EQ(mount.used, 600U * 4096);
    EXPECT_EQ(mount.available, 350U * 4096) << "without the superuser's reserve";
    EXPECT_EQ(mount.inodes, 64U);
    EXPECT_EQ(mount.freeInodes, 60U);
}

TEST(MountReader, countsInPreferredBlocksWhereAFilesystemHasNoOthers)
{
    EXPECT_EQ(readRoot(filesystem(0)).size, 65536000U);
}

TEST(MountReader, countsSizesOf64Bits)
{
    struct statvfs status = filesystem(4096);
    status.f_blocks = uint64_t{1} << 40;
    EXPECT_EQ(readRoot(status).size, uint64_t{1} << 52);
}

TEST(MountReader, hasNoInodesOfAFilesystemWithoutATableOfThem)
{
    struct statvfs status = filesystem(4096);
    status.f_files = 0;
    status.f_ffree = 0;
    Mount const mount = readRoot(status);
    EXPECT_EQ(mount.size, 4096000U);
    EXPECT_EQ(mount.inodes, std::nullopt);
    EXPECT_EQ(mount.freeInodes, std::nullopt);
}

TEST(MountReader, hasNoSizesOfAFilesystemThatCountsNoBlocks)
{
    struct statvfs status = filesystem(4096);
    status.f_blocks = 0;
    status.f_bfree = 0;
    status.f_bavail = 0;
    Mount const mount = readRoot(status);
    EXPECT_EQ(mount.size, std::nullopt);
    EXPECT_EQ(mount.used, std::nullopt);
    EXPECT_EQ(mount.available, std::nullopt);
}

TEST(MountReader, hasNoUseOfAFilesystemWithMoreFreeBlocksThanItHas)
{
    struct statvfs status = filesystem(4096);
    status.f_bfree = 1001;
    Mount const mount = readRoot(status);
    EXPECT_EQ(mount.size, 4096000U);
    EXPECT_EQ(mount.used, std::nullopt);
}

TEST(MountReader, findsTheDiskByTheNumberOfTheDevice)
{
    machine.file("/proc/self/mountinfo", "1 1 8:1 / / rw - ext4 /dev/root rw\n");
    FakeCalls calls;
    calls.filesystems["/"] = filesystem(4096);
    Mount const mount = foundMount();
    EXPECT_EQ(mount.device, "sda1");
    EXPECT_THAT(mount.disks, ElementsAre("sda"));
}

TEST(MountReader, findsTheDiskOfBtrfsByItsNode)
{
    machine.file("/proc/self/mountinfo", "1 1 0:33 /@ / rw - btrfs /dev/disk/by-id/x rw\n");
    machine.file("/dev/sda1", "");
    machine.link("/dev/disk/by-id/x", "../../sda1");
    FakeCalls const calls;
    EXPECT_EQ(foundMount().device, "sda1") << "by the node's name";
}

TEST(MountReader, findsTheDiskByTheNumberOfTheNode)
{
    machine.file("/proc/mounts", "/dev/other / ext4 rw 0 0\n");
    FakeCalls calls;
    calls.blockDevices["/dev/other"] = makedev(8, 1);
    EXPECT_EQ(foundMount().device, "sda1");
}

TEST(MountReader, findsTheDiskOfTheRootByTheNumberOfItsFolder)
{
    machine.file("/proc/mounts", "/dev/root / ext3 rw 0 0\n");
    FakeCalls calls;
    calls.devicesOfFiles["/"] = makedev(8, 1);
    Mount const mount = foundMount();
    EXPECT_EQ(mount.device, "sda1");
    EXPECT_EQ(mount.source, "/dev/root");
}

TEST(MountReader, hasNoDiskOfANetworkFilesystem)
{
    machine.file("/proc/self/mountinfo", "1 1 0:44 / /nas rw - nfs4 nas:/x rw\n");
    FakeCalls calls;
    calls.filesystems["/nas"] = filesystem(4096);
    Mount const mount = foundMount();
    EXPECT_TRUE(mount.network);
    EXPECT_EQ(mount.size, 4096000U);
    EXPECT_EQ(mount.device, "");
    EXPECT_THAT(mount.disks, IsEmpty());
}

TEST(MountReader, readsProcMountsWhereThereIsNoMountInfo)
{
    machine.file("/proc/mounts", "/dev/sda1 /my\\040disk ext4 rw 0 0\n");
    FakeCalls calls;
    calls.filesystems["/my disk"] = filesystem(4096);
    Mount const mount = foundMount();
    EXPECT_EQ(mount.mountPoint, "/my disk");
    EXPECT_EQ(mount.size, 4096000U);
}

TEST(MountReader, hasAProblemWhereThereIsNoTable)
{
    Machine const found = readMounts();
    EXPECT_FALSE(found.mounts);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].source, "/proc/self/mountinfo");
    EXPECT_EQ(found.problems[0].reason, "No such file or directory");
}

TEST(MountReader, hasAnEmptyListOnAMachineWithoutFilesystems)
{
    machine.file("/proc/self/mountinfo", "1 1 0:5 / /proc rw - proc proc rw\n");
    Machine const found = readMounts();
    ASSERT_TRUE(found.mounts);
    EXPECT_THAT(*found.mounts, IsEmpty());
    EXPECT_THAT(found.problems, IsEmpty());
}

TEST(MountReader, countsTheLinesThatAreNoEntries)
{
    machine.file("/proc/self/mountinfo", "nonsense\n");
    Machine const found = readMounts();
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "1 entry was left out");
}

TEST(MountReader, hasAProblemWithTheReasonOfAFilesystemThatFails)
{
    machine.file("/proc/self/mountinfo", std::string(ROOT) + "2 1 8:2 / /b rw - ext4 /dev/b rw\n");
    FakeCalls calls;
    calls.filesystems["/b"] = filesystem(4096);
    Machine const found = readMounts();
    ASSERT_THAT(*found.mounts, SizeIs(2));
    EXPECT_EQ(found.mounts->at(0).size, std::nullopt);
    EXPECT_EQ(found.mounts->at(1).size, 4096000U);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].source, "/");
    EXPECT_EQ(found.problems[0].reason, "Input/output error");
}

TEST(MountReader, losesOnlyTheSizeOfANetworkFilesystemThatHangs)
{
    machine.file("/proc/self/mountinfo",
        std::string(ROOT)
            + "2 1 0:44 / /dead rw - nfs4 nas:/x rw\n3 1 0:45 / /nas rw - nfs4 nas:/y rw\n");
    FakeCalls calls;
    calls.filesystems["/"] = filesystem(4096);
    calls.filesystems["/nas"] = filesystem(512);
    calls.hangingFilesystems = {"/dead"};
    Machine const found = readMounts(std::chrono::seconds(3));
    ASSERT_THAT(*found.mounts, SizeIs(3));
    EXPECT_EQ(found.mounts->at(0).size, 4096000U);
    EXPECT_EQ(found.mounts->at(1).size, std::nullopt);
    EXPECT_EQ(found.mounts->at(1).source, "nas:/x");
    EXPECT_EQ(found.mounts->at(2).size, 512000U);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].source, "/dead");
    EXPECT_EQ(found.problems[0].reason, "the filesystem did not respond in time");
}

TEST(MountReader, losesOnlyTheSizesOfALocalFilesystemThatHangs)
{
    machine.file(
        "/proc/self/mountinfo", std::string(ROOT) + "2 1 8:17 / /dead rw - ext4 /dev/sdb1 rw\n");
    FakeCalls calls;
    calls.filesystems["/"] = filesystem(4096);
    calls.hangingFilesystems = {"/dead"};
    Machine const found = readMounts(std::chrono::seconds(3));
    ASSERT_THAT(*found.mounts, SizeIs(2));
    EXPECT_EQ(found.mounts->at(0).size, 4096000U);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].source, "/dead");
}

TEST(MountReader, losesOnlyTheSizesOfThoseThatHangAmongMany)
{
    FakeCalls calls;
    mountMany(10'000, calls);
    calls.hangingFilesystems = {"/m0", "/m5000", "/m5001", "/m9999"};
    Machine const found = readMounts(std::chrono::seconds(4));
    EXPECT_THAT(sourcesOf(found.problems), ElementsAre("/m0", "/m5000", "/m5001", "/m9999"));
    EXPECT_EQ(found.problems.at(0).reason, "the filesystem did not respond in time");
    EXPECT_EQ(countSizes(found), 9'996);
}

TEST(MountReader, readsTheSizesBehindMoreFilesystemsThatHangThanItHasChildren)
{
    FakeCalls calls;
    auto const paths = mountMany(200, calls);
    calls.hangingFilesystems = {paths.begin(), paths.begin() + 150};
    Machine const found = readMounts(std::chrono::seconds(4));
    EXPECT_THAT(
        sourcesOf(found.problems), testing::ElementsAreArray(paths.begin(), paths.begin() + 150));
    for (auto const& problem : found.problems)
        EXPECT_EQ(problem.reason, "the filesystem did not respond in time") << problem.source;
    EXPECT_EQ(countSizes(found), 50);
}

TEST(MountReader, doesNotBlameFilesystemsThatItCouldNotQuery)
{
    FakeCalls calls;
    auto const paths = mountMany(1000, calls);
    calls.hangingFilesystems = {paths.begin(), paths.end()};
    auto const begun = std::chrono::steady_clock::now();
    Machine const found = readMounts(std::chrono::seconds(1));
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(3));
    ASSERT_THAT(found.problems, SizeIs(1000));
    EXPECT_EQ(found.problems.front().reason, "the filesystem did not respond in time");
    EXPECT_EQ(found.problems.back().reason, "too many other filesystems did not respond in time");
}

TEST(MountReader, losesOnlyTheSizeOfTheFilesystemWhoseChildDies)
{
    FakeCalls calls;
    mountMany(100, calls);
    calls.crashingFilesystems = {"/m0", "/m50"};
    calls.hangingFilesystems = {"/m70"};
    Machine const found = readMounts(std::chrono::seconds(2));
    ASSERT_THAT(sourcesOf(found.problems), ElementsAre("/m0", "/m50", "/m70"));
    EXPECT_EQ(found.problems[1].reason, "the process that queried the filesystem was killed");
    EXPECT_EQ(found.problems[2].reason, "the filesystem did not respond in time");
    EXPECT_EQ(countSizes(found), 97);
}

TEST(MountReader, reportsAChildThatDiesAsNoFilesystemThatHangs)
{
    machine.file("/proc/self/mountinfo", ROOT);
    FakeCalls calls;
    calls.crashingFilesystems = {"/"};
    Machine const found = readMounts();
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "the process that queried the filesystem was killed");
}

TEST(MountReader, hasNoSizesOfAHiddenFilesystem)
{
    machine.file("/proc/self/mountinfo",
        "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / /a/b rw - ext4 /dev/sda2 rw\n"
        "3 1 0:44 / /a/nas rw - nfs4 nas:/x rw\n4 1 0:9 / /a rw - tmpfs none rw\n");
    FakeCalls calls;
    calls.filesystems["/"] = filesystem(4096);
    calls.filesystems["/a/b"] = filesystem(512); // Of the tmpfs.
    calls.hangingFilesystems = {"/a/nas"};
    Machine const found = readMounts();
    ASSERT_THAT(*found.mounts, SizeIs(3));
    EXPECT_EQ(found.mounts->at(1).mountPoint, "/a/b");
    EXPECT_EQ(found.mounts->at(1).hiddenBy, "/a");
    EXPECT_EQ(found.mounts->at(1).size, std::nullopt);
    EXPECT_EQ(found.mounts->at(2).size, std::nullopt) << "not queried, so it cannot hang";
    EXPECT_THAT(found.problems, IsEmpty());
    ASSERT_THAT(found.unavailable, SizeIs(2));
    EXPECT_EQ(found.unavailable[0].fact, "the sizes of a filesystem");
    EXPECT_EQ(found.unavailable[0].reason, "/dev/sda2 on /a/b is hidden by the mount on /a");
}

TEST(MountReader, hasTheSizesOfAHiddenFilesystemFromWhereItIsMountedToo)
{
    machine.file("/proc/self/mountinfo",
        "1 0 8:1 / / rw - ext4 /dev/sda1 rw\n2 1 8:2 / /a/b rw - ext4 /dev/sda2 rw\n"
        "3 1 0:9 / /a rw - tmpfs none rw\n4 1 8:2 / /c rw - ext4 /dev/sda2 rw\n");
    FakeCalls calls;
    calls.filesystems["/"] = filesystem(4096);
    calls.filesystems["/c"] = filesystem(512);
    Machine const found = readMounts();
    ASSERT_THAT(*found.mounts, SizeIs(3));
    EXPECT_EQ(found.mounts->at(1).mountPoint, "/a/b");
    EXPECT_EQ(found.mounts->at(1).sameAs, "/c");
    EXPECT_EQ(found.mounts->at(1).size, 512000U);
    EXPECT_EQ(found.mounts->at(1).freeInodes, 60U);
    EXPECT_THAT(found.unavailable, IsEmpty());
}
