#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/DiskCalls.h"
#include "tests/sysinfo/ReadCalls.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

using sysinfo::LinuxSystemInformation;
using testkit::CapturedTrace;
using testkit::machine;

namespace {

using PhysicalDisks = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::PhysicalDiskInfo>>;

constexpr char HEADING[] = "major minor  #blocks  name\n\n";

std::string sizeLines(PhysicalDisks const& disks)
{
    std::string text;
    for (auto const& disk : disks)
        text += std::string(static_cast<char const*>(disk->toString())) + '\n';
    return text;
}

class PhysicalDisksQuery : public testing::Test {
protected:
    std::string query()
    {
        PhysicalDisks disks;
        m_calls.forget();
        EXPECT_TRUE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
        return sizeLines(disks);
    }

    /** Creates a file with sectors of 512 bytes and a line of /proc/partitions for each device. */
    void showDevices(std::initializer_list<char const*> names)
    {
        std::string table = HEADING;
        for (char const* name : names) {
            machine.file(std::string("/dev/") + name, "");
            m_calls.sectorSize(std::string("/dev/") + name, 512);
            table += std::string("   8        0          2 ") + name + '\n';
        }
        machine.file("/proc/partitions", table);
    }

    testkit::DiskCalls m_calls;
};

}

TEST_F(PhysicalDisksQuery, listsDisksInTableOrder)
{
    showDevices({"sdb", "sda", "sda1", "sda2"});
    machine.link("/dev/disk/by-id/ata-MODEL", "../../sda");
    EXPECT_EQ(query(),
        "sdb () 1024 bytes in  0 partitions \n"
        "sda (MODEL) 1024 bytes in  2 partitions \n");
}

TEST_F(PhysicalDisksQuery, looksEachPersistentNameUpOnceForAllDisks)
{
    std::string table = HEADING;
    for (unsigned i = 0; i < 26 * 26; ++i) {
        std::string const name{
            's', 'd', static_cast<char>('a' + i / 26), static_cast<char>('a' + i % 26)};
        machine.file("/dev/" + name, "");
        machine.link("/dev/disk/by-id/ata-MODEL_" + std::to_string(i), "../../" + name);
        table += "   8        0          2 " + name + '\n';
    }
    machine.file("/proc/partitions", table);
    m_calls.forget();
    PhysicalDisks disks;
    ASSERT_TRUE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
    EXPECT_EQ(m_calls.entriesLookedAt(), 26U * 26U);
    ASSERT_EQ(disks.size(), 26U * 26U);
    for (unsigned i = 0; i < disks.size(); ++i)
        EXPECT_EQ(disks[i]->getDiskCaption(), dovrel::string("MODEL_" + std::to_string(i)));
}

TEST_F(PhysicalDisksQuery, givesEachDiskTheCaptionThatItsRecordAloneHas)
{
    showDevices({"sdc", "sda", "sdb", "sdd"});
    ASSERT_EQ(::link("/dev/sda", "/dev/other"), 0);
    for (unsigned i = 0; i < 40; ++i) {
        std::string const name{'s', 'd', static_cast<char>('a' + i % 3)};
        machine.link("/dev/disk/by-id/ata-OTHER_" + std::to_string(i), "../../other");
        machine.link("/dev/disk/by-id/ata-MODEL_" + std::to_string(i), "../../" + name);
        machine.link("/dev/disk/by-id/wwn-" + std::to_string(i), "../../missing");
        if (i == 20)
            machine.link("/dev/disk/by-id/ata-DANGLING", "../../missing");
        PhysicalDisks disks;
        ASSERT_TRUE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
        ASSERT_EQ(disks.size(), 4U);
        for (auto const& disk : disks) {
            EXPECT_EQ(disk->getDiskCaption(),
                LinuxSystemInformation::LinuxPhysicalDiskInfo(disk->getDiskID(), 2, 0)
                    .getDiskCaption());
        }
    }
}

TEST_F(PhysicalDisksQuery, looksForTheNamesAgainWhereTheFolderCouldNotBeOpened)
{
    showDevices({"sda", "sdb", "sdc"});
    dovrel::trace::setSink(
        [](void*, unsigned, char const*, dovrel::string const& line) {
            if (line == L"Found disk: /dev/sdb\n")
                machine.link("/dev/disk/by-id/ata-MODEL", "../../sdb");
        },
        nullptr);
    dovrel::trace::setDetailLevel(3);
    std::string const found = query();
    dovrel::trace::setDetailLevel(0);
    dovrel::trace::setSink(nullptr, nullptr);
    EXPECT_EQ(found,
        "sda () 1024 bytes in  0 partitions \n"
        "sdb (MODEL) 1024 bytes in  0 partitions \n"
        "sdc () 1024 bytes in  0 partitions \n");
}

TEST_F(PhysicalDisksQuery, readsAllSizesWithTwoFreeDescriptors)
{
    showDevices({"sda", "sdb", "sdc"});
    for (std::string const name : {"sda", "sdb", "sdc"})
        machine.link("/dev/disk/by-id/ata-" + name, "../../" + name);
    // The sanitizers open a pipe to check an object of a type that is new to them. Show them all
    // types before the descriptors run out.
    std::string const unlimited = query();
    int const firstFree = ::dup(STDIN_FILENO);
    ::close(firstFree);
    rlimit former;
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &former), 0);
    rlimit const tight{static_cast<rlim_t>(firstFree) + 2, former.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    std::string const found = query();
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &former), 0);
    EXPECT_EQ(found, unlimited);
    EXPECT_EQ(found,
        "sda (sda) 1024 bytes in  0 partitions \n"
        "sdb (sdb) 1024 bytes in  0 partitions \n"
        "sdc (sdc) 1024 bytes in  0 partitions \n");
}

TEST_F(PhysicalDisksQuery, appendsToTheCallersList)
{
    showDevices({"sda"});
    PhysicalDisks disks;
    LinuxSystemInformation const information;
    ASSERT_TRUE(information.getPhysicalDisksInternal(disks));
    ASSERT_TRUE(information.getPhysicalDisksInternal(disks));
    EXPECT_EQ(disks.size(), 2U);
}

TEST_F(PhysicalDisksQuery, returnsFalseAndKeepsTheListWithoutTheTable)
{
    PhysicalDisks disks(1);
    CapturedTrace trace;
    EXPECT_FALSE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
    EXPECT_EQ(disks.size(), 1U);
    ASSERT_EQ(trace.lines().size(), 1U);
    EXPECT_EQ(trace.text(1), "Failed to open: /proc/partitions\n");
    EXPECT_EQ(trace.lines()[0].scope.rfind("virtual bool sysinfo::LinuxSystemInformation::"
                                           "getPhysicalDisksInternal(std::vector<",
                  0),
        0U)
        << trace.lines()[0];
}

TEST_F(PhysicalDisksQuery, returnsFalseWhenTheTableIsUnreadable)
{
    machine.file("/proc/partitions", HEADING);
    ASSERT_EQ(::chmod("/proc/partitions", 0), 0);
    PhysicalDisks disks;
    EXPECT_FALSE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
}

TEST_F(PhysicalDisksQuery, returnsAnEmptyListForATableWithoutDisks)
{
    machine.file("/proc/partitions", HEADING);
    CapturedTrace trace;
    EXPECT_EQ(query(), "");
    ASSERT_EQ(trace.lines().size(), 1U);
    EXPECT_EQ(trace.text(3), "Returning: 0 disks\n");
    machine.file("/proc/partitions", "");
    EXPECT_EQ(query(), "");
}

TEST_F(PhysicalDisksQuery, tracesPartitionsAndDisksAtLevelThree)
{
    showDevices({"sda9", "sda", "sda1", "sda2", "md0", "sda3", "sdb"});
    CapturedTrace trace;
    query();
    EXPECT_EQ(trace.text(3),
        "Partition: sda1\nPartition: sda2\nFound disk: /dev/sda\n"
        "Found disk: /dev/sdb\nReturning: 2 disks\n");
    EXPECT_EQ(trace.lines().size(), 5U) << "nothing at other levels";
}

TEST_F(PhysicalDisksQuery, tracesTheLengthOfTheWholeList)
{
    showDevices({"sda"});
    PhysicalDisks disks(5);
    CapturedTrace trace;
    EXPECT_TRUE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
    EXPECT_TRUE(trace.contains(3, "Returning: 6 disks\n"));
}

TEST_F(PhysicalDisksQuery, isSilentBelowItsTraceLevel)
{
    showDevices({"sda", "sda1"});
    CapturedTrace trace(2);
    query();
    EXPECT_TRUE(trace.lines().empty());
}

TEST_F(PhysicalDisksQuery, ignoresUsbStorage)
{
    showDevices({"sda", "sda1", "sdb", "sdb1"});
    m_calls.bus("/dev/sda", 0);
    m_calls.bus("/dev/sdb", 12);
    machine.file("/proc/scsi/usb-storage/12", "");
    CapturedTrace trace;
    EXPECT_EQ(query(), "sda () 1024 bytes in  1 partitions \n");
    EXPECT_EQ(trace.text(3),
        "Partition: sda1\nFound disk: /dev/sda\nPartition: sdb1\n"
        "Found (and ignoring) usb disk: /dev/sdb\nReturning: 1 disks\n");
}

TEST_F(PhysicalDisksQuery, recognizesUsbStorageByItsFolder)
{
    showDevices({"sdb"});
    m_calls.bus("/dev/sdb", 0);
    machine.folder("/proc/scsi/usb-storage/0");
    EXPECT_EQ(query(), "");
}

TEST_F(PhysicalDisksQuery, listsADiskOfABusOtherThanUsb)
{
    showDevices({"sdb"});
    m_calls.bus("/dev/sdb", 1);
    machine.file("/proc/scsi/usb-storage/11", "");
    machine.file("/proc/scsi/usb-storage/2", "");
    EXPECT_NE(query(), "");
    m_calls.bus("/dev/sdb", -1);
    EXPECT_NE(query(), "");
    machine.file("/proc/scsi/usb-storage/-1", "");
    EXPECT_EQ(query(), "");
}

TEST_F(PhysicalDisksQuery, listsADiskWhoseBusIsUnknown)
{
    // An unknown bus does not count as bus 0.
    showDevices({"sdb"});
    machine.folder("/proc/scsi/usb-storage/0");
    EXPECT_EQ(query(), "sdb () 1024 bytes in  0 partitions \n");
}

TEST_F(PhysicalDisksQuery, listsADiskThatCannotBeOpened)
{
    showDevices({"sda", "sdb"});
    m_calls.bus("/dev/sda", 0);
    machine.folder("/proc/scsi/usb-storage/0");
    ASSERT_EQ(::chmod("/dev/sda", 0), 0);
    machine.remove("/dev/sdb");
    EXPECT_EQ(query(), "sda () 0 bytes in  0 partitions \nsdb () 0 bytes in  0 partitions \n");
}

TEST_F(PhysicalDisksQuery, listsTheLastDiskAndThoseBeforeOtherDevices)
{
    showDevices({"sda", "sr0", "vda", "nvme0n1", "nvme0n1p1", "xvdc"});
    EXPECT_EQ(query(),
        "sda () 1024 bytes in  0 partitions \n"
        "vda () 1024 bytes in  0 partitions \n"
        "xvdc () 1024 bytes in  0 partitions \n");
}

TEST_F(PhysicalDisksQuery, skipsADiskWhoseNameBeginsTheNextOneKept)
{
    showDevices({"sda", "sda1", "sdaa"});
    EXPECT_EQ(query(), "sdaa () 1024 bytes in  0 partitions \n");
    for (auto const& opened : m_calls.opened())
        EXPECT_NE(opened.path, "/dev/sda");
}

TEST_F(PhysicalDisksQuery, opensNeitherPartitionsNorOtherDevices)
{
    showDevices({"sda", "sda1", "md0", "sdb9"});
    query();
    std::string opened;
    for (auto const& [path, flags] : m_calls.opened()) {
        opened += path + ' ';
        EXPECT_EQ(flags & O_ACCMODE, O_RDONLY) << path;
        EXPECT_NE(flags & O_CLOEXEC, 0) << path;
    }
    EXPECT_EQ(opened, "/proc/partitions /dev/sda /dev/sda ");
}

TEST_F(PhysicalDisksQuery, retriesAfterSignals)
{
    showDevices({"sdb"});
    m_calls.bus("/dev/sdb", 3);
    machine.folder("/proc/scsi/usb-storage/3");
    m_calls.interruptOpening("/dev/sdb", 2);
    m_calls.interruptOpening("/proc/partitions", 2);
    EXPECT_EQ(query(), "");
}

TEST_F(PhysicalDisksQuery, doesNotBlockOnAFifoWithoutAWriter)
{
    machine.file("/proc/partitions", std::string(HEADING) + "8 0 2 sda\n");
    ASSERT_EQ(::mkfifo("/dev/sda", 0644), 0);
    EXPECT_EQ(query(), "sda () 0 bytes in  0 partitions \n");
}

TEST_F(PhysicalDisksQuery, acceptsReadsOfSingleBytesBetweenSignals)
{
    showDevices({"sda", "sda1"});
    testkit::ReadCalls reads("/proc/partitions");
    reads.giveSingleBytesBetweenSignals();
    EXPECT_EQ(query(), "sda () 1024 bytes in  1 partitions \n");
    EXPECT_GE(reads.failures(), 80U) << "too few reads were interrupted";
}

TEST_F(PhysicalDisksQuery, listsDisksReadBeforeAnError)
{
    showDevices({"sda", "sdb"});
    testkit::ReadCalls reads("/proc/partitions");
    reads.failBehind(testkit::contentsOf("/proc/partitions").find("sdb") - 1, EIO);
    EXPECT_EQ(query(), "sda () 1024 bytes in  0 partitions \n");
    EXPECT_EQ(reads.failures(), 1U);
}

TEST_F(PhysicalDisksQuery, listsSixHundredDisks)
{
    std::string table = HEADING;
    for (char first = 'a'; first < 'z'; ++first)
        for (char second = 'a'; second < 'z'; ++second)
            table += std::string("8 0 2 sd") + first + second + '\n';
    machine.file("/proc/partitions", table);
    PhysicalDisks disks;
    EXPECT_TRUE(LinuxSystemInformation().getPhysicalDisksInternal(disks));
    ASSERT_EQ(disks.size(), 625U);
    EXPECT_EQ(std::string(static_cast<char const*>(disks[624]->getDiskID())), "sdyy");
}

TEST_F(PhysicalDisksQuery, leaksNoDescriptorInTenThousandCalls)
{
    showDevices({"sda", "sda1"});
    machine.link("/dev/disk/by-id/ata-GONE", "../../sdz");
    testkit::DescriptorGuard const guard;
    for (unsigned i = 0; i < 10'000; ++i)
        ASSERT_EQ(query(), "sda () 1024 bytes in  1 partitions \n");
}
