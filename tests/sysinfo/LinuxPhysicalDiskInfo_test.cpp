#include "sysinfo/LinuxSystemInformation.h"
#include "tests/reference/dev_disk_by_id.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/DiskCalls.h"
#include "tests/sysinfo/null_object.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <memory>
#include <random>
#include <string>

using sysinfo::SystemInformation;
using testkit::CapturedTrace;
using testkit::machine;
using LinuxPhysicalDiskInfo = sysinfo::LinuxSystemInformation::LinuxPhysicalDiskInfo;

namespace {

void showLink(std::string const& name, std::string const& target)
{
    machine.link("/dev/disk/by-id/" + name, target);
}

class PhysicalDisk : public testing::Test {
protected:
    PhysicalDisk()
    {
        machine.file("/dev/sda", "");
        machine.file("/dev/sda1", "");
        machine.file("/dev/sdb", "");
    }

    static LinuxPhysicalDiskInfo sda() { return {L"sda", 1000, 2}; }
    static std::string caption() { return narrow(sda().getDiskCaption()); }

    testkit::DiskCalls m_calls;
};

}

TEST_F(PhysicalDisk, returnsItsConstructorArguments)
{
    LinuxPhysicalDiskInfo const disk(L"sda", 1000, 4294967295U);
    EXPECT_EQ(narrow(disk.getDiskID()), "sda");
    EXPECT_EQ(disk.getDiskNumberOfPartitions(), 4294967295U);
    EXPECT_EQ(narrow(disk.getDiskCaption()), "");
}

TEST_F(PhysicalDisk, computesItsSizeAsBlocksTimesSectorSizeKept)
{
    for (int const sector : {512, 520, 4096}) {
        m_calls.sectorSize("/dev/sda", sector);
        EXPECT_EQ(sda().getDiskTotalSizeInBytes(), 1000U * static_cast<unsigned>(sector));
    }
}

TEST_F(PhysicalDisk, computesItsSizeIn64Bits)
{
    m_calls.sectorSize("/dev/sda", 4096);
    EXPECT_EQ(
        LinuxPhysicalDiskInfo(L"sda", 16106127360, 0).getDiskTotalSizeInBytes(), 65970697666560U);
    EXPECT_EQ(
        LinuxPhysicalDiskInfo(L"sda", UINT64_MAX, 0).getDiskTotalSizeInBytes(), UINT64_MAX * 4096);
}

TEST_F(PhysicalDisk, hasSizeZeroWhenTheSectorSizeIsUnknown)
{
    EXPECT_EQ(sda().getDiskTotalSizeInBytes(), 0U); // Not a block device.
    EXPECT_EQ(LinuxPhysicalDiskInfo(L"sdz", 1000, 0).getDiskTotalSizeInBytes(), 0U);
}

TEST_F(PhysicalDisk, hasSizeZeroWhenTheDeviceCannotBeOpened)
{
    m_calls.sectorSize("/dev/sda", 512);
    ASSERT_EQ(::chmod("/dev/sda", 0), 0);
    showLink("ata-MODEL", "../../sda");
    LinuxPhysicalDiskInfo const disk = sda();
    EXPECT_EQ(disk.getDiskTotalSizeInBytes(), 0U);
    EXPECT_EQ(narrow(disk.getDiskCaption()), "MODEL");
}

TEST_F(PhysicalDisk, opensTheDeviceOnceReadOnlyAndCloseOnExec)
{
    m_calls.forget();
    sda();
    std::string opened;
    for (auto const& [path, flags] : m_calls.opened()) {
        if (path != "/dev/sda")
            continue;
        opened += path;
        EXPECT_EQ(flags & O_ACCMODE, O_RDONLY);
        EXPECT_NE(flags & O_CLOEXEC, 0);
        EXPECT_NE(flags & O_NONBLOCK, 0) << "open would block on a drive without a medium";
    }
    EXPECT_EQ(opened, "/dev/sda");
}

TEST_F(PhysicalDisk, retriesTheOpenAfterASignal)
{
    m_calls.sectorSize("/dev/sda", 512);
    m_calls.interruptOpening("/dev/sda", 3);
    EXPECT_EQ(sda().getDiskTotalSizeInBytes(), 512000U);
}

TEST_F(PhysicalDisk, takesItsCaptionFromTheByIdLinkWithoutTheBus)
{
    showLink("ata-DISK_MODEL_1", "../../sda");
    EXPECT_EQ(caption(), "DISK_MODEL_1");
}

TEST_F(PhysicalDisk, removesOnlyTheBusFromTheLinkName)
{
    showLink("scsi-SATA_A-B-C", "../../sda");
    EXPECT_EQ(caption(), "SATA_A-B-C");
}

TEST_F(PhysicalDisk, keepsALinkNameWithoutABus)
{
    showLink("nodash", "/dev/sda");
    EXPECT_EQ(caption(), "nodash");
}

TEST_F(PhysicalDisk, hasAnEmptyCaptionWhenNothingFollowsTheBus)
{
    showLink("ata-", "/dev/sda");
    EXPECT_EQ(caption(), "");
}

TEST_F(PhysicalDisk, ignoresWorldWideNames)
{
    showLink("wwn-0x5000c500a0b1c2d3", "../../sda");
    EXPECT_EQ(caption(), "");
    showLink("wwnx", "../../sda");
    showLink("wwn", "../../sda");
    EXPECT_EQ(caption(), "");
    showLink("ata-wwn", "../../sda");
    EXPECT_EQ(caption(), "wwn");
}

TEST_F(PhysicalDisk, ignoresLinksToOtherDevices)
{
    showLink("ata-OTHER", "../../sdb");
    showLink("ata-MODEL-part1", "../../sda1");
    EXPECT_EQ(caption(), "");
    showLink("usb-MINE:0_a\\x20b", "../../sda");
    EXPECT_EQ(caption(), "MINE:0_a\\x20b");
}

TEST_F(PhysicalDisk, resolvesLinksOnBothSides)
{
    machine.file("/dev/scsi/disc", "");
    machine.link("/dev/sdc", "scsi/disc");
    machine.link("/dev/block/8:32", "../sdc");
    showLink("scsi-LINKED", "../../block/8:32");
    EXPECT_EQ(narrow(LinuxPhysicalDiskInfo(L"sdc", 1, 0).getDiskCaption()), "LINKED");
    machine.file("/dev/disk/by-id/ata-FILE", "");
    machine.link("/dev/sdd", "disk/by-id/ata-FILE");
    EXPECT_EQ(narrow(LinuxPhysicalDiskInfo(L"sdd", 1, 0).getDiskCaption()), "FILE");
}

TEST_F(PhysicalDisk, takesTheFirstMatchingLinkInFolderOrder)
{
    showLink("ata-A", "../../sda");
    showLink("scsi-B", "../../sda");
    std::string const found = caption();
    ASSERT_TRUE(found == "A" || found == "B") << found;
    machine.remove(found == "A" ? "/dev/disk/by-id/ata-A" : "/dev/disk/by-id/scsi-B");
    EXPECT_EQ(caption(), found == "A" ? "B" : "A");
}

TEST_F(PhysicalDisk, hasNoCaptionWithoutByIdLinks)
{
    EXPECT_EQ(caption(), ""); // No such folder.
    machine.folder("/dev/disk/by-id");
    EXPECT_EQ(caption(), ""); // Empty folder.
    machine.remove("/dev/disk/by-id");
    machine.file("/dev/disk/by-id", "");
    EXPECT_EQ(caption(), ""); // A file.
}

TEST_F(PhysicalDisk, hasNoCaptionWhenTheByIdFolderCannotBeRead)
{
    showLink("ata-MODEL", "../../sda");
    ASSERT_EQ(::chmod("/dev/disk/by-id", 0), 0);
    m_calls.sectorSize("/dev/sda", 512);
    LinuxPhysicalDiskInfo const disk = sda();
    EXPECT_EQ(narrow(disk.getDiskCaption()), "");
    EXPECT_EQ(disk.getDiskTotalSizeInBytes(), 512000U);
}

TEST_F(PhysicalDisk, hasNoCaptionBehindADanglingLinkKept)
{
    m_calls.sectorSize("/dev/sda", 512);
    showLink("ata-GONE", "../../sdz");
    EXPECT_EQ(caption(), "");
    EXPECT_EQ(sda().getDiskTotalSizeInBytes(), 512000U);

    machine.remove("/dev/disk/by-id/ata-GONE");
    showLink("ata-ROUND", "ata-ROUND");
    EXPECT_EQ(caption(), "");

    // Ignored names do not end the search.
    machine.remove("/dev/disk/by-id/ata-ROUND");
    showLink("wwn-GONE", "../../sdz");
    showLink("ata-MODEL", "../../sda");
    EXPECT_EQ(caption(), "MODEL");
}

TEST_F(PhysicalDisk, hasACaptionOnlyIfItsLinkPrecedesADanglingOneKept)
{
    showLink("ata-A", "../../sda");
    showLink("ata-GONE", "../../sdz");
    std::string const before = caption();
    machine.remove("/dev/disk/by-id/ata-A");
    showLink("ata-A", "../../sda"); // Now it is newer.
    std::string const after = caption();
    EXPECT_EQ(before + after, "A") << "one of the two orders reaches the dangling link first";
}

TEST_F(PhysicalDisk, hasNoCaptionWhenTheDeviceIsMissing)
{
    showLink("ata-MODEL", "../../sda");
    EXPECT_EQ(narrow(LinuxPhysicalDiskInfo(L"sdz", 1, 0).getDiskCaption()), "");
}

TEST_F(PhysicalDisk, makesOneCallPerLinkUpToADanglingOneKept)
{
    machine.file("/dev/scsi/disc", "");
    machine.link("/dev/sdc", "scsi/disc");
    machine.file("/dev/sde", "");
    for (unsigned i = 0; i < 10'000; ++i) {
        std::string const number = std::to_string(i);
        if (i % 10 == 0)
            showLink("wwn-" + number, "../../sdz"); // Dangling, but ignored.
        else
            showLink("ata-" + number, i % 100 == 55 ? "../../sde" : "../../sdb");
    }
    m_calls.forget();
    EXPECT_EQ(narrow(LinuxPhysicalDiskInfo(L"sdc", 1, 0).getDiskCaption()), "");
    EXPECT_EQ(m_calls.entriesLookedAt(), 9'000U);
    EXPECT_EQ(m_calls.realpaths(), 0U) << "no link leads to the disk";

    m_calls.forget();
    EXPECT_NE(narrow(LinuxPhysicalDiskInfo(L"sde", 1, 0).getDiskCaption()), "");
    EXPECT_EQ(m_calls.realpaths(), 2U) << "the link and the disk";

    machine.remove("/dev/sde");
    unsigned links = 0;
    for (auto const& link : std::filesystem::directory_iterator("/dev/disk/by-id")) {
        if (link.path().filename().string().rfind("wwn", 0) == 0)
            continue;
        ++links;
        if (!std::filesystem::exists(link.path()))
            break;
    }
    EXPECT_LT(links, 9'000U) << "no link dangles";
    m_calls.forget();
    EXPECT_EQ(narrow(LinuxPhysicalDiskInfo(L"sdc", 1, 0).getDiskCaption()), "");
    EXPECT_EQ(m_calls.entriesLookedAt(), links);
    EXPECT_EQ(m_calls.realpaths(), 0U);
}

TEST_F(PhysicalDisk, ignoresHardLinksOfTheDevice)
{
    ASSERT_EQ(::link("/dev/sda", "/dev/other"), 0);
    showLink("ata-OTHER", "../../other");
    EXPECT_EQ(caption(), "");
    showLink("ata-MODEL", "../../sda");
    EXPECT_EQ(caption(), "MODEL") << "the search ended at the hard link";
    ASSERT_EQ(::link("/dev/sda", "/dev/disk/by-id/ata-ITSELF"), 0);
    machine.remove("/dev/disk/by-id/ata-MODEL");
    EXPECT_EQ(caption(), "");
}

TEST_F(PhysicalDisk, agreesWithAReaderThatResolvesEveryLink)
{
    std::mt19937 random(20'160'523);
    auto const below = [&](unsigned bound) { return static_cast<unsigned>(random() % bound); };
    std::string const disks[] = {"sda", "sdb", "sdc", "sdd", "sde", "sdf", "sdz"};
    // Files, links to files and to each other, hard links, a folder, a locked folder; no sdz.
    machine.file("/dev/scsi/disc", "");
    machine.link("/dev/sdc", "scsi/disc");
    machine.link("/dev/sdd", "sda");
    ASSERT_EQ(::link("/dev/sda", "/dev/sde"), 0);
    machine.folder("/dev/folder");
    machine.link("/dev/sdf", "folder");
    machine.file("/dev/locked/node", "");
    ASSERT_EQ(::chmod("/dev/locked", 0), 0);
    std::string const targets[] = {"../../sda", "/dev/sdb", "../../sdc", "../../sdd", "../../sde",
        "../../sdf", "../../scsi/disc", "../../folder", "../by-id/../../sdb", "../../sda1"};
    std::string const dangling[] = {"../../sdz", "../../locked/node", "../../sda/x"};
    unsigned captions = 0;
    for (unsigned round = 0; round < 500; ++round) {
        machine.folder("/dev/disk/by-id");
        for (unsigned i = below(12); i > 0; --i) {
            std::string const name = (below(5) == 0 ? "wwn-" : "ata-") + std::to_string(i);
            std::string const path = "/dev/disk/by-id/" + name;
            unsigned const kind = below(40);
            if (kind == 0)
                showLink(name, dangling[below(std::size(dangling))]);
            else if (kind == 1)
                showLink(name, name);
            else if (kind == 2)
                machine.file(path, "");
            else if (kind == 3)
                machine.folder(path);
            else if (kind == 4)
                ASSERT_EQ(::link("/dev/sda", path.c_str()), 0);
            else
                showLink(name, targets[below(std::size(targets))]);
        }
        for (std::string const& disk : disks) {
            std::string const expected = reference::persistentNameOf("/dev/" + disk);
            std::string const name = expected.substr(expected.find('-') + 1);
            ASSERT_EQ(narrow(LinuxPhysicalDiskInfo(disk, 1, 0).getDiskCaption()), name)
                << disk << ' ' << round;
            captions += !name.empty();
        }
        machine.remove("/dev/disk");
    }
    EXPECT_GT(captions, 500U);
    ASSERT_EQ(::chmod("/dev/locked", 0755), 0);
}

TEST_F(PhysicalDisk, toStringReturnsOneLineThatEndsWithABlank)
{
    m_calls.sectorSize("/dev/sda", 512);
    showLink("ata-DISK_MODEL_1", "../../sda");
    EXPECT_EQ(narrow(sda().toString()), "sda (DISK_MODEL_1) 512000 bytes in  2 partitions ");
    EXPECT_EQ(
        narrow(LinuxPhysicalDiskInfo(L"vdz", 7, 0).toString()), "vdz () 0 bytes in  0 partitions ");
    m_calls.sectorSize("/dev/sda", 4096);
    EXPECT_EQ(narrow(LinuxPhysicalDiskInfo(L"sda", 16106127360, 4294967295U).toString()),
        "sda (DISK_MODEL_1) 65970697666560 bytes in  4294967295 partitions ");
}

TEST_F(PhysicalDisk, cloneCopiesEveryField)
{
    m_calls.sectorSize("/dev/sda", 512);
    showLink("ata-DISK_MODEL_1", "../../sda");
    auto original = std::make_unique<LinuxPhysicalDiskInfo>(L"sda", 1000, 2);
    dovrel::value_ptr<SystemInformation::PhysicalDiskInfo> const copy(original->clone());
    EXPECT_NE(copy.get(), original.get());
    EXPECT_NE(dynamic_cast<LinuxPhysicalDiskInfo const*>(copy.get()), nullptr);
    // The copy makes no system calls and shares nothing with the original.
    original.reset();
    machine.remove("/dev/sda");
    EXPECT_EQ(narrow(copy->toString()), "sda (DISK_MODEL_1) 512000 bytes in  2 partitions ");
    EXPECT_EQ(narrow(copy->getDiskID()), "sda");
}

TEST_F(PhysicalDisk, destroyCallsTheVirtualDestructor)
{
    struct Counting : LinuxPhysicalDiskInfo {
        explicit Counting(int& deleted) : LinuxPhysicalDiskInfo(L"sda", 1, 0), count(deleted) { }
        Counting(Counting const&) = delete;
        Counting& operator=(Counting const&) = delete;
        ~Counting() override { ++count; }
        int& count;
    };
    int deleted = 0;
    auto* const disk = new Counting(deleted);
    disk->LinuxPhysicalDiskInfo::destroy();
    EXPECT_EQ(deleted, 1);
    testkit::destroyNull<LinuxPhysicalDiskInfo>();
}

TEST_F(PhysicalDisk, leaksNoDescriptor)
{
    testkit::DescriptorGuard const guard;
    for (unsigned i = 0; i < 10'000; ++i) {
        if (i == 5'000)
            showLink("ata-GONE", "../../sdz"); // Until here the folder is missing.
        sda();
        LinuxPhysicalDiskInfo(L"missing", 1, 0);
    }
}

TEST_F(PhysicalDisk, tracesNothing)
{
    CapturedTrace trace;
    showLink("ata-GONE", "../../sdz");
    sda();
    EXPECT_TRUE(trace.lines().empty());
}
