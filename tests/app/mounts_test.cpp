#include "app/exit_status.h"
#include "app/read/filesystem_size.h"
#include "app/read/kernel_names.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/statvfs.h>

using app::decodeOctal;
using app::Subject;
using app_test::jsonOf;
using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::tablesOf;
using app_test::WholeMachine;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

json mountsOf(Outcome const& outcome)
{
    return json::parse(outcome.out).at("mounts");
}

}

TEST(Mounts, haveASizeAndABarOfWhatIsUsed)
{
    EXPECT_THAT(tablesOf(knownMachine({Subject::MOUNTS})),
        ElementsAre("Mounted on            Size       Used       Free    Share              Disks",
            "/               1000.0 GiB  750.0 GiB  250.0 GiB   75.0 %  ########..  sda",
            "/gone                    -          -          -        -              -",
            "/media/my disk     2.0 GiB    2.0 GiB        0 B  100.0 %  ##########  sda, "
            "cciss/c0d0",
            "/odd?[2J           1.0 KiB          -    2.0 KiB        -              unlisted"));
}

TEST(Mounts, areNumbersOfBytesOnDemand)
{
    EXPECT_THAT(tablesOf(knownMachine({Subject::MOUNTS}), {true, false}).at(1),
        "/               1073741824000  805306368000  268435456000   75.0 %  ########..  sda");
}

TEST(Mounts, forScriptsHaveTheirNameAndTheLibrarysText)
{
    EXPECT_EQ(jsonOf(knownMachine({Subject::MOUNTS})).at("mounts"), json::parse(R"([
        { "mount_point": "/", "library_mount_point": "/", "size_bytes": 1073741824000,
          "used_bytes": 805306368000, "free_bytes": 268435456000, "disks": ["sda"] },
        { "mount_point": "/gone", "library_mount_point": "/gone", "size_bytes": null,
          "used_bytes": null, "free_bytes": null, "disks": [] },
        { "mount_point": "/media/my disk", "library_mount_point": "/media/my\\040disk",
          "size_bytes": 2147483648, "used_bytes": 2147483648, "free_bytes": 0,
          "disks": ["sda", "cciss/c0d0"] },
        { "mount_point": "/odd\u001B[2J", "library_mount_point": "/odd\\033[2J",
          "size_bytes": 1024, "used_bytes": null, "free_bytes": 2048, "disks": ["unlisted"] } ])"));
}

TEST(Mounts, areThoseOfTheKernelWithTheDisksBeneath)
{
    WholeMachine machine;
    std::string const point = (machine.folder().path() / "output").string();
    machine.partitions("8 0 1000 sda\n8 1 1000 sda1\n");
    machine.device("sda", "");
    machine.device("sda1", "");
    machine.mounts("rootfs / rootfs rw 0 0\n/dev/sda1 " + point
        + " ext4 rw 0 0\n/dev/sda9 /no\\011such\\040place\\134 ext4 rw 0 0\n");

    json const mounts = mountsOf(machine.program({"mounts", "--json"}).run());

    struct statvfs status;
    ASSERT_EQ(statvfs(point.c_str(), &status), 0);
    ASSERT_EQ(mounts.size(), 2U);
    EXPECT_EQ(mounts.at(0).at("mount_point"), "/no\tsuch place\\");
    EXPECT_EQ(mounts.at(0).at("library_mount_point"), "/no\\011such\\040place\\134");
    EXPECT_TRUE(mounts.at(0).at("size_bytes").is_null());
    EXPECT_EQ(mounts.at(0).at("disks"), json::array());
    EXPECT_EQ(mounts.at(1).at("mount_point"), point);
    // The library has 32 bits of each.
    EXPECT_EQ(mounts.at(1).at("size_bytes"),
        uint64_t{static_cast<uint32_t>(status.f_blocks)} * static_cast<uint32_t>(status.f_bsize));
    EXPECT_EQ(mounts.at(1).at("disks"), json::array({"sda"}));
}

TEST(Mounts, thatAreNoneAreAnEmptyList)
{
    Outcome const table = WholeMachine().program({"mounts"}).run();
    Outcome const document = WholeMachine().program({"mounts", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(table.out), ElementsAre(HasSubstr("Mounted on")));
    EXPECT_EQ(mountsOf(document), json::array());
}

TEST(Mounts, thatCannotBeReadAreNamed)
{
    WholeMachine machine;
    machine.hide("mounts");

    Outcome const table = machine.program({"mounts"}).run();
    Outcome const document = machine.program({"mounts", "--json"}).run();

    for (Outcome const& outcome : {table, document}) {
        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: cannot read the mounted filesystems from /proc/mounts, "
            "/proc/partitions, /dev/mapper: Failed to open /proc/mounts\n");
    }
    EXPECT_EQ(table.out, "");
    EXPECT_TRUE(mountsOf(document).is_null());
}

TEST(MountSize, isWholeWhereTheLibraryHasTheLow32BitsOfItsBlocks)
{
    constexpr uint64_t TIB = uint64_t{1} << 40;
    struct statvfs status { };
    status.f_bsize = 4096;
    status.f_blocks = 20 * TIB / 4096;
    EXPECT_EQ(app::wholeSize(4 * TIB, status), 20 * TIB);
    status.f_blocks = 16 * TIB / 4096;
    EXPECT_EQ(app::wholeSize(0, status), 16 * TIB);
}

TEST(MountSize, isTheLibrarysOtherwise)
{
    struct statvfs status { };
    status.f_bsize = 4096;
    status.f_blocks = 100;
    EXPECT_EQ(app::wholeSize(409600, status), 409600U);
    EXPECT_EQ(app::wholeSize(1024, status), 1024U) << "another filesystem has come there";
    status.f_blocks = (uint64_t{5} << 32) + 1;
    EXPECT_EQ(app::wholeSize(1024, status), 1024U);
}

TEST(OctalEscapes, areTheBytesThatTheyStandFor)
{
    EXPECT_EQ(decodeOctal("/a\\040b\\011c\\012d\\134e\\043"), "/a b\tc\nd\\e#");
    EXPECT_EQ(decodeOctal("\\303\\274"), "\xC3\xBC");
    EXPECT_EQ(decodeOctal("\\134040"), "\\040") << "decoded once";
}

TEST(OctalEscapes, areFourCharactersAndAByte)
{
    for (char const* const text : {"", "\\", "\\0", "\\04", "a\\04", "\\048", "\\400", "\\x40"})
        EXPECT_EQ(decodeOctal(text), text);
}

TEST(Mounts, nameTheFolderWhereTheVolumesNamesCannotBeRead)
{
    WholeMachine machine;
    machine.device("dm-0", "dm-name");
    machine.mounts("/dev/dm-0 / ext4 rw 0 0\n");

    Outcome const outcome = machine.program({"mounts"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: cannot read the mounted filesystems from /proc/mounts, /proc/partitions, "
        "/dev/mapper: Failed to read the folder /dev/mapper: No such file or directory\n");
}
