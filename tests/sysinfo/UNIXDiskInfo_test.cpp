#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/Machine.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/DiskCalls.h"
#include "tests/sysinfo/null_object.h"

#include <gtest/gtest.h>

#include <sys/statvfs.h>

#include <memory>
#include <string>
#include <vector>

using sysinfo::SystemInformation;
using testkit::filesystemOf;
using testkit::machine;
using LinuxPhysicalDiskInfo = sysinfo::LinuxSystemInformation::LinuxPhysicalDiskInfo;
using UNIXDiskInfo = sysinfo::UNIXSystemInformation::UNIXDiskInfo;

namespace {

using Parents = std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>>;

Parents disks(std::initializer_list<wchar_t const*> names)
{
    Parents parents;
    for (wchar_t const* name : names)
        parents.emplace_back(new LinuxPhysicalDiskInfo(name, 1, 0));
    return parents;
}

std::string ids(Parents const& parents)
{
    std::string names;
    for (auto const& parent : parents)
        names += narrow(parent->getDiskID()) + ' ';
    return names;
}

class MountedDisk : public testing::Test {
protected:
    testkit::DiskCalls m_calls;
};

}

TEST_F(MountedDisk, returnsItsMountPointAndParentDisks)
{
    UNIXDiskInfo const disk(L"/data", disks({L"sdb", L"sda"}));
    EXPECT_EQ(narrow(disk.getDiskName()), "/data");
    EXPECT_EQ(ids(disk.getParentDisks()), "sdb sda ");
    EXPECT_TRUE(UNIXDiskInfo(L"/data", {}).getParentDisks().empty());
}

TEST_F(MountedDisk, retriesStatvfsAfterSignals)
{
    m_calls.filesystem("/data", filesystemOf(100, 80, 1000));
    m_calls.interruptStatvfs("/data", 3);
    UNIXDiskInfo const disk(L"/data", {});
    EXPECT_EQ(disk.getDiskSizeInBytes(), 100'000U);
    m_calls.interruptStatvfs("/data", 3);
    EXPECT_EQ(disk.getDiskFreeInBytes(), 80'000U);
    m_calls.interruptStatvfs("/data", 1);
    EXPECT_EQ(narrow(disk.toString()), "/data 80000/100000 across 0 disks");
}

TEST_F(MountedDisk, copiesItsParentDisksInAndOut)
{
    Parents parents = disks({L"sda"});
    UNIXDiskInfo const disk(L"/", parents);
    EXPECT_NE(disk.getParentDisks()[0].get(), parents[0].get());
    EXPECT_NE(disk.getParentDisks()[0].get(), disk.getParentDisks()[0].get());
    parents.clear();
    EXPECT_EQ(ids(disk.getParentDisks()), "sda ");
}

TEST_F(MountedDisk, multipliesBlocksByThePreferredBlockSizeKept)
{
    // Uses f_bsize, not f_frsize, and f_bfree, not f_bavail.
    m_calls.filesystem("/boot", filesystemOf(100, 80, 1000));
    UNIXDiskInfo const disk(L"/boot", {});
    EXPECT_EQ(disk.getDiskSizeInBytes(), 100'000U);
    EXPECT_EQ(disk.getDiskFreeInBytes(), 80'000U);
}

TEST_F(MountedDisk, agreesWithStatvfsOfARealFilesystem)
{
    machine.folder("/data");
    struct statvfs status { };
    ASSERT_EQ(::statvfs("/data", &status), 0);
    UNIXDiskInfo const disk(L"/data", {});
    EXPECT_EQ(disk.getDiskSizeInBytes(),
        uint64_t{static_cast<uint32_t>(status.f_blocks)} * static_cast<uint32_t>(status.f_bsize));
    EXPECT_GT(disk.getDiskSizeInBytes(), 0U);
    EXPECT_LE(disk.getDiskFreeInBytes(), disk.getDiskSizeInBytes());
}

TEST_F(MountedDisk, hasASizeBeyond32Bits)
{
    m_calls.filesystem("/data", filesystemOf(4294967295, 4294967295, 65536));
    UNIXDiskInfo const disk(L"/data", {});
    EXPECT_EQ(disk.getDiskSizeInBytes(), 281474976645120U);
    EXPECT_EQ(disk.getDiskFreeInBytes(), 281474976645120U);
}

TEST_F(MountedDisk, cutsTotalBlocksTo32BitsButNotFreeBlocksKept)
{
    m_calls.filesystem("/data", filesystemOf(4294967296 + 7, 4294967296 + 5, 4096));
    UNIXDiskInfo const disk(L"/data", {});
    EXPECT_EQ(disk.getDiskSizeInBytes(), 7U * 4096U);
    EXPECT_EQ(disk.getDiskFreeInBytes(), 17592186064896U);
}

TEST_F(MountedDisk, readsItsSizeOnceAndItsFreeSpaceOnEveryCall)
{
    m_calls.filesystem("/data", filesystemOf(100, 80, 1));
    UNIXDiskInfo const disk(L"/data", {});
    m_calls.filesystem("/data", filesystemOf(200, 50, 1));
    EXPECT_EQ(disk.getDiskFreeInBytes(), 50U);
    EXPECT_EQ(disk.getDiskSizeInBytes(), 100U);
    m_calls.filesystem("/data", filesystemOf(200, 20, 1));
    EXPECT_EQ(disk.getDiskFreeInBytes(), 20U);
    EXPECT_EQ(m_calls.statvfsPaths(), std::vector<std::string>(3, "/data"));
}

TEST_F(MountedDisk, returnsZerosWhenStatvfsFails)
{
    UNIXDiskInfo const disk(L"/gone", {});
    EXPECT_EQ(disk.getDiskSizeInBytes(), 0U);
    EXPECT_EQ(disk.getDiskFreeInBytes(), 0U);
    EXPECT_EQ(narrow(disk.toString()), "/gone 0/0 across 0 disks");

    // The filesystem may appear during the record's lifetime.
    m_calls.filesystem("/gone", filesystemOf(9, 5, 2));
    EXPECT_EQ(narrow(disk.toString()), "/gone 10/0 across 0 disks");
}

TEST_F(MountedDisk, toStringReturnsOneLine)
{
    m_calls.filesystem("/boot", filesystemOf(100, 80, 1000));
    EXPECT_EQ(narrow(UNIXDiskInfo(L"/boot", disks({L"sda"})).toString()),
        "/boot 80000/100000 across 1 disks");
    m_calls.filesystem("/a b", filesystemOf(4294967295, 4294967296, 4294967295));
    EXPECT_EQ(narrow(UNIXDiskInfo(L"/a b", disks({L"sda", L"sdb", L"sdc"})).toString()),
        "/a b 18446744069414584320/18446744065119617025 across 3 disks");
}

TEST_F(MountedDisk, cloneCopiesEveryField)
{
    m_calls.filesystem("/boot", filesystemOf(100, 80, 1000));
    auto original = std::make_unique<UNIXDiskInfo>(L"/boot", disks({L"sda", L"sdb"}));
    m_calls.filesystem("/boot", filesystemOf(200, 70, 1000));
    dovrel::value_ptr<SystemInformation::DiskInfo> const copy(original->clone());
    EXPECT_NE(copy.get(), original.get());
    EXPECT_NE(dynamic_cast<UNIXDiskInfo const*>(copy.get()), nullptr);
    original.reset();
    EXPECT_EQ(narrow(copy->toString()), "/boot 70000/100000 across 2 disks");
    EXPECT_EQ(ids(copy->getParentDisks()), "sda sdb ");
}

TEST_F(MountedDisk, destroyCallsTheVirtualDestructor)
{
    struct Counting : UNIXDiskInfo {
        explicit Counting(int& deleted) : UNIXDiskInfo(L"/", disks({L"sda"})), count(deleted) { }
        Counting(Counting const&) = delete;
        Counting& operator=(Counting const&) = delete;
        ~Counting() override { ++count; }
        int& count;
    };
    int deleted = 0;
    auto* const disk = new Counting(deleted);
    disk->UNIXDiskInfo::destroy();
    EXPECT_EQ(deleted, 1);
    testkit::destroyNull<UNIXDiskInfo>();
}
