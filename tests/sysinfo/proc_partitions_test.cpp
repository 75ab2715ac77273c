// The parser alone, without a file.

#include "sysinfo/parsers/proc_partitions.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/PiecewiseBuffer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using testkit::contentsOf;
using testkit::PiecewiseBuffer;

namespace {

constexpr char PARTITIONS_HEADING[] = "major minor  #blocks  name\n\n";

/** @return the parser's calls in order, for example `sda1 sda2 [sda 1000 2]`. */
std::string readPartitionLines(std::istream& stream)
{
    std::string found;
    auto const add = [&](std::string const& word) { found += (found.empty() ? "" : " ") + word; };
    sysinfo::readPartitions(stream, add, [&](sysinfo::DiskEntry const& disk) {
        add('[' + disk.name + ' ' + std::to_string(disk.blocks) + ' '
            + std::to_string(disk.partitions) + ']');
    });
    return found;
}

std::string readPartitionLines(std::string const& text)
{
    std::istringstream stream(text);
    return readPartitionLines(stream);
}

/** @return a table with these names, each with 7 blocks. */
std::string table(std::initializer_list<char const*> names)
{
    std::string text = PARTITIONS_HEADING;
    for (char const* name : names)
        text += std::string("   8        0          7 ") + name + '\n';
    return text;
}

constexpr char TWO_DISKS[] = "major minor  #blocks  name\n\n"
                             "   8        0     100000 sda\n   8        1       1000 sda1\n"
                             "   8        2      99000 sda2\n   8       16       5000 sdb\n";

}

TEST(ProcPartitions, returnsDisksWithTheirPartitions)
{
    EXPECT_EQ(readPartitionLines(TWO_DISKS), "sda1 sda2 [sda 100000 2] [sdb 5000 0]");
}

TEST(ProcPartitions, readsTheSameInPiecesOfAnySize)
{
    for (size_t size = 1; size <= sizeof TWO_DISKS; ++size) {
        PiecewiseBuffer buffer(TWO_DISKS, size);
        std::istream stream(&buffer);
        EXPECT_EQ(readPartitionLines(stream), "sda1 sda2 [sda 100000 2] [sdb 5000 0]") << size;
    }
}

TEST(ProcPartitions, skipsTheFirstLineWhateverItContains)
{
    EXPECT_EQ(readPartitionLines("   8 0 7 sda\n   8 16 7 sdb\n"), "[sdb 7 0]");
    EXPECT_EQ(readPartitionLines("\n8 16 7 sdb\n"), "[sdb 7 0]");
}

TEST(ProcPartitions, findsNothingWithoutLinesAfterTheHeading)
{
    EXPECT_EQ(readPartitionLines(PARTITIONS_HEADING), "");
    EXPECT_EQ(readPartitionLines("major minor  #blocks  name"), "");
    EXPECT_EQ(readPartitionLines(""), "");
    EXPECT_EQ(readPartitionLines(std::string(1024 * 1024, 'x')), "");
}

TEST(ProcPartitions, endsADiskAtADeviceOfAnotherKind)
{
    EXPECT_EQ(readPartitionLines(table({"sda", "sda1", "md0", "sdb"})), "sda1 [sda 7 1] [sdb 7 0]");
    EXPECT_EQ(readPartitionLines(table({"sda", "loop0"})), "[sda 7 0]");
    EXPECT_EQ(readPartitionLines(table({"vda", "dm-0", "zram0", "sr0", "nvme0n1", "mmcblk0"})),
        "[vda 7 0]");
}

TEST(ProcPartitions, returnsNoDiskWhoseNameEndsInADigit)
{
    EXPECT_EQ(readPartitionLines(table({"ram0", "mtdblock3", "ubiblock0_0", "mmcblk0",
                  "mmcblk0boot0", "mmcblk0p1", "nvme0n1p1", "nvme0n1", "md_d0p1", "md_d0", "md127",
                  "dm-12", "rbd0", "zram0", "loop0p1", "sr0"})),
        "");
}

TEST(ProcPartitions, countsNoPartitionBetweenSuchADeviceAndTheNextDisk)
{
    EXPECT_EQ(readPartitionLines(table({"sda", "md0", "sda1", "md0p1", "sdb", "sdb1"})),
        "[sda 7 0] sdb1 [sdb 7 1]");
}

TEST(ProcPartitions, ignoresPartitionsBeforeTheFirstDisk)
{
    EXPECT_EQ(readPartitionLines(table({"sda1", "nvme0n1", "nvme0n1p1", "ram15"})), "");
    EXPECT_EQ(readPartitionLines(table({"sda1", "sda"})), "[sda 7 0]");
}

TEST(ProcPartitions, countsPartitionsForEachDiskFromZero)
{
    EXPECT_EQ(readPartitionLines(table({"sda", "sda1", "sda2", "sdb", "sdb1", "sdc"})),
        "sda1 sda2 [sda 7 2] sdb1 [sdb 7 1] [sdc 7 0]");
    // A repeated disk is returned twice.
    EXPECT_EQ(readPartitionLines(table({"sda", "sda1", "sdb", "sda"})),
        "sda1 [sda 7 1] [sdb 7 0] [sda 7 0]");
}

TEST(ProcPartitions, dropsADiskWhenTheNextDisksNameBeginsWithItsNameKept)
{
    EXPECT_EQ(readPartitionLines(table({"sda", "sda1", "sdaa", "sdaa1"})), "sda1 sdaa1 [sdaa 7 1]");
    EXPECT_EQ(readPartitionLines(table({"sda", "sdaa", "sda1"})), "[sdaa 7 0]");
    EXPECT_EQ(readPartitionLines(table({"sda", "sda"})), "[sda 7 0]");
}

TEST(ProcPartitions, countsAPartitionForTheDiskWhoseNameItBeginsWithKept)
{
    EXPECT_EQ(readPartitionLines(table({"sd", "sdb1", "sd9"})), "sdb1 sd9 [sd 7 2]");
    EXPECT_EQ(readPartitionLines(table({"sda", "xsda1"})), "[sda 7 0]");
}

TEST(ProcPartitions, countsAnExtendedPartition)
{
    EXPECT_EQ(readPartitionLines(
                  std::string(PARTITIONS_HEADING) + "8 0 70 sda\n8 1 1 sda1\n8 5 69 sda5\n"),
        "sda1 sda5 [sda 70 2]");
}

TEST(ProcPartitions, acceptsAnyBlanksBetweenFields)
{
    EXPECT_EQ(
        readPartitionLines("major minor  #blocks  name\r\n\r\n8\t0\t7\tsda\r\n\n \t8 1 7 sda1\r\n"),
        "sda1 [sda 7 1]");
    EXPECT_EQ(readPartitionLines("heading\n8 0 7 sda 8 1 7 sda1"), "sda1 [sda 7 1]");
}

TEST(ProcPartitions, acceptsAnyBytesInNames)
{
    EXPECT_EQ(readPartitionLines(table({"cciss/c0d0", "cciss/c0d0p1", "i2o/hda", "i2o/hda1"})),
        "i2o/hda1 [i2o/hda 7 1]");
    EXPECT_EQ(readPartitionLines(table({"sd\xc3\xa4",
                  "sd\xc3\xa4"
                  "1"})),
        "sd\xc3\xa4"
        "1 [sd\xc3\xa4 7 1]");
}

TEST(ProcPartitions, returnsBlocksOf64Bits)
{
    EXPECT_EQ(
        readPartitionLines("h\n8 0 16106127360 sda\n8 16 18446744073709551615 sdb\n8 32 0 sdc\n"),
        "[sda 16106127360 0] [sdb 18446744073709551615 0] [sdc 0 0]");
}

TEST(ProcPartitions, stopsAtBlocksThatAreNotANumberOf64Bits)
{
    for (char const* broken : {"18446744073709551616", "unknown", "<7>"})
        EXPECT_EQ(readPartitionLines(std::string("h\n8 0 7 sda\n8 1 3 sda1\n8 2 ") + broken
                      + " sda2\n8 3 1 sda3\n"),
            "sda1 [sda 7 1]")
            << broken;
}

TEST(ProcPartitions, missesTheDisksAfterALineWithoutANameKept)
{
    EXPECT_EQ(readPartitionLines("h\n8 0 7 sda\n8 1 3\n8 2 4 sda2\n8 16 9 sdb\n"), "[sda 7 0]");
}

TEST(ProcPartitions, stopsAfterTheFirstLineOfKernel24Kept)
{
    // Reads its eleven further columns as the next entry, whose blocks are not a number.
    EXPECT_EQ(
        readPartitionLines("h\n8 0 8969493 sda 381817 450620 sum\n8 1 40131 sda1 68 382 900\n"),
        "[sda 8969493 0]");
    // Reads two entries of numbers before it finds a name in place of blocks.
    EXPECT_EQ(
        readPartitionLines("h\n8 0 7 sda 1 2 3 4 5 6 7 8 9 10 11\n8 1 3 sda1 1 2\n"), "[sda 7 0]");
    EXPECT_EQ(readPartitionLines("h\n8 0 7 sda 1 2 3 4 5 6 7 -414508366 9 10 -11\n8 1 3 sda1 1\n"),
        "[sda 7 0]");
}

TEST(ProcPartitions, acceptsATruncatedTable)
{
    EXPECT_EQ(readPartitionLines("h\n8 0 7 sda\n8 1 3 sda1"), "sda1 [sda 7 1]");
    EXPECT_EQ(readPartitionLines("h\n8 0 7 sda\n8 1 3 "), "[sda 7 0]");
    EXPECT_EQ(readPartitionLines("h\n8 0 7 sda\n8 1 3 sd"), "[sda 7 0] [sd 3 0]");
    EXPECT_EQ(readPartitionLines("h\n8 0 7 sda\n8 1 3 sda1\n" + std::string(100, '\0')),
        "sda1 [sda 7 1]");
}

TEST(ProcPartitions, readsNamesOfAnyLength)
{
    std::string const name(1024 * 1024, 'a');
    EXPECT_EQ(readPartitionLines("h\n8 0 7 " + name + "\n8 1 3 " + name + "1\n"),
        name + "1 [" + name + " 7 1]");
}

TEST(ProcPartitions, returnsTheDisksReadBeforeTheStreamThrows)
{
    PiecewiseBuffer buffer("h\n8 0 7 sda\n8 1 3 sda1\n8 2 3 sd", 4, PiecewiseBuffer::THROWS);
    std::istream stream(&buffer);
    EXPECT_EQ(readPartitionLines(stream), "sda1 [sda 7 1]");
}

TEST(ProcPartitions, findsNothingInAStreamThatHasFailed)
{
    std::istringstream stream(TWO_DISKS);
    stream.setstate(std::ios_base::failbit);
    EXPECT_EQ(readPartitionLines(stream), "");
}

TEST(ProcPartitions, readsTheRecordedFiles)
{
    std::string const folder = "/testkit/recorded/proc-partitions/";
    EXPECT_EQ(readPartitionLines(contentsOf(folder + "fake-good.txt")),
        "sda1 sda2 sda5 [sda 488386584 3] sdb1 [sdb 7814026584 1]");
    EXPECT_EQ(readPartitionLines(contentsOf(folder + "fake-odd.txt")),
        "vda1 [vda 16106127360 1] [sdb 1 0] sdaa1 [sdaa 18446744073709551615 1] [xvda 0 0]");
    // Zero bytes are not blanks, so they are a name.
    EXPECT_EQ(readPartitionLines(contentsOf(folder + "fake-broken.txt")),
        "sda1 [sda 488386584 1] [" + std::string(4, '\0') + " 4878 0]");
}
