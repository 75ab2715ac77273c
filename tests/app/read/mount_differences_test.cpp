#include "tests/app/read/FoundDifferences.h"

using app::Difference;
using app::LibraryRecord;
using app::LibraryValue;
using app::Machine;
using app::Mount;
using app::Subject;
using app_read_test::answer;
using app_read_test::differenceOf;
using app_read_test::expectNoDifference;
using app_read_test::Texts;
using testing::SizeIs;

namespace {

constexpr char const* ESCAPED = "the library queries the kernel's escaped name, which is no folder";

/** A filesystem of 1,000 bytes, 300 of them used, without a reserve. */
Mount mountAt(std::string const& place)
{
    Mount mount;
    mount.mountPoint = place;
    mount.size = 1000;
    mount.used = 300;
    mount.available = 700;
    mount.disks = {"sda"};
    return mount;
}

LibraryRecord mountRecord(
    std::string const& name, uint64_t size, uint64_t free, Texts const& disks = {"sda"})
{
    return {"",
        {{"getDiskName", name}, {"getDiskSizeInBytes", size}, {"getDiskFreeInBytes", free},
            {"getParentDisks", disks}}};
}

Machine withMount(Mount const& mount, std::vector<LibraryRecord> const& records)
{
    Machine machine;
    machine.mounts = {mount};
    answer(machine, Subject::MOUNTS, records);
    return machine;
}

}

TEST(MountDifference, isAMountOfNoDevice)
{
    Difference const difference = differenceOf(withMount(mountAt("/nas"), {}));
    EXPECT_EQ(difference.item, "/nas");
    EXPECT_EQ(difference.reason, "the library lists the mounts of devices in /dev");
}

TEST(MountDifference, isASizeOf32Bits)
{
    Difference const difference = differenceOf(withMount(mountAt("/"), {mountRecord("/", 5, 700)}));
    EXPECT_EQ(difference.fact, "size_bytes");
    EXPECT_EQ(difference.reason,
        "the library counts 32 bits of the blocks, times the preferred block size");
}

TEST(MountDifference, isASizeOfAnEscapedName)
{
    auto const differences =
        app::differencesOf(withMount(mountAt("/my disk"), {mountRecord("/my\\040disk", 0, 0)}));
    ASSERT_THAT(differences, SizeIs(2));
    EXPECT_EQ(differences[0].fact, "size_bytes");
    EXPECT_EQ(differences[0].item, "/my disk");
    EXPECT_EQ(differences[0].reason, ESCAPED);
    EXPECT_EQ(differences[1].fact, "available_bytes");
    EXPECT_EQ(differences[1].reason, ESCAPED);
}

TEST(MountDifference, isTheSuperusersReserve)
{
    Mount mount = mountAt("/");
    mount.available = 650;
    Difference const difference = differenceOf(withMount(mount, {mountRecord("/", 1000, 700)}));
    EXPECT_EQ(difference.fact, "available_bytes");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{700}));
    EXPECT_EQ(difference.reason, "the library counts the superuser's reserve as free");
}

TEST(MountDifference, isNoneWhereFreeSpaceMovesOrNoSizeIsKnown)
{
    expectNoDifference(withMount(mountAt("/"), {mountRecord("/", 1000, 690)}));
    Mount mount = mountAt("/");
    mount.size.reset();
    expectNoDifference(withMount(mount, {mountRecord("/", 1000, 690)}));
}

TEST(MountDifference, isADiskThatTheLibraryDoesNotFind)
{
    Difference const difference =
        differenceOf(withMount(mountAt("/"), {mountRecord("/", 1000, 700, {})}));
    EXPECT_EQ(difference.fact, "disks");
    EXPECT_EQ(difference.library, LibraryValue(Texts{}));
    EXPECT_EQ(difference.reason,
        "the library finds only disks that it lists itself, beneath partitions such as sda1 and "
        "not beneath md or LVM");
}
