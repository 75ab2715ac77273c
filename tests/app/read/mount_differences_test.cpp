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
    Mount mount = mountAt("/nas");
    mount.source = "nas:/export";
    Difference const difference = differenceOf(withMount(mount, {}));
    EXPECT_EQ(difference.item, "/nas");
    EXPECT_EQ(difference.reason, "the library lists the mounts whose source begins with /dev/");
    mount.source = "/dev//dev/sda";
    EXPECT_EQ(differenceOf(withMount(mount, {})).reason,
        "the library leaves out a source with a second /dev/ in its first bytes");
}

TEST(MountDifference, isAMountThatItsFileDoesNotHave)
{
    Mount mount = mountAt("/mnt/b");
    mount.source = "/dev/sda1";
    Machine machine = withMount(mount, {});
    EXPECT_EQ(differenceOf(machine).reason, "") << "the facts prove no cause";
    machine.library[Subject::MOUNTS].source = "/dev/sda2 /mnt ext4 rw 0 0\n";
    EXPECT_EQ(differenceOf(machine).reason, "/proc/mounts does not have it");
    machine.library[Subject::MOUNTS].source =
        "/dev/sda2 /mnt ext4 rw 0 0\n\n/dev/sda1 /mnt/b ext4 rw 0 0\n";
    EXPECT_EQ(
        differenceOf(machine).reason, "the library reads /proc/mounts up to its first blank line");
    machine.library[Subject::MOUNTS].source =
        "/dev/sda1 /mnt/b ext4 rw 0 0\nnas:/b /mnt/b nfs rw 0 0\n";
    EXPECT_EQ(differenceOf(machine).reason,
        "the library lists the mounts whose source begins with /dev/");
}

TEST(MountDifference, isARecordOfNoMount)
{
    Difference const difference = differenceOf(
        withMount(mountAt("/"), {mountRecord("/", 1000, 700), mountRecord("/a\\040b", 1000, 700)}));
    EXPECT_EQ(difference.item, "/a b");
    EXPECT_EQ(difference.fact, "records");
    EXPECT_EQ(difference.reason, "the kernel lists no filesystem on a block device there");
}

TEST(MountDifference, isTheSizeOfTheMountThatHidesOne)
{
    constexpr char const* HIDDEN =
        "the library queries the path, where another mount hides this one";
    Mount mount = mountAt("/mnt");
    mount.hiddenBy = "/mnt";
    for (std::optional<uint64_t> const size : {std::optional<uint64_t>(1000), {}}) {
        mount.size = size;
        auto const differences =
            app::differencesOf(withMount(mount, {mountRecord("/mnt", 50, 40)}));
        ASSERT_THAT(differences, SizeIs(2));
        EXPECT_EQ(differences[0].fact, "size_bytes");
        EXPECT_EQ(differences[0].library, LibraryValue(uint64_t{50}));
        EXPECT_EQ(differences[0].reason, HIDDEN);
        EXPECT_EQ(differences[1].fact, "available_bytes");
        EXPECT_EQ(differences[1].library, LibraryValue(uint64_t{40}));
        EXPECT_EQ(differences[1].reason, HIDDEN);
    }
    mount.mountPoint = "/a b";
    EXPECT_EQ(app::differencesOf(withMount(mount, {mountRecord("/a\\040b", 0, 0)})).at(0).reason,
        ESCAPED);
}

TEST(MountDifference, isOneOfTheLastMountAtAPlace)
{
    Machine machine = withMount(mountAt("/mnt"), {mountRecord("/mnt", 50, 40)});
    machine.mounts->front().hiddenBy = "/mnt";
    machine.mounts->push_back(machine.mounts->front());
    EXPECT_THAT(app::differencesOf(machine), SizeIs(2)) << "once for two";
    machine.mounts->push_back(mountAt("/mnt"));
    machine.mounts->back().size = 50;
    machine.mounts->back().used = 10;
    machine.mounts->back().available = 40;
    expectNoDifference(machine);
}

TEST(MountDifference, isASizeOf32Bits)
{
    constexpr uint64_t BLOCK = 4096;
    constexpr uint64_t SIZE = ((uint64_t{1} << 32) + 5) * BLOCK;
    Mount mount = mountAt("/");
    mount.size = SIZE;
    mount.used = 300;
    mount.available = SIZE - 300;
    Difference const difference =
        differenceOf(withMount(mount, {mountRecord("/", 5 * BLOCK, SIZE - 300)}));
    EXPECT_EQ(difference.fact, "size_bytes");
    EXPECT_EQ(difference.reason, "the library counts the blocks with 32 bits");
    EXPECT_EQ(
        differenceOf(withMount(mount, {mountRecord("/", 5 * BLOCK + 1, SIZE - 300)})).reason, "");
    EXPECT_EQ(differenceOf(withMount(mountAt("/"), {mountRecord("/", 5, 700)})).reason, "");
}

TEST(MountDifference, isASizeInUnitsOfThePreferredBlockSize)
{
    auto const differences =
        app::differencesOf(withMount(mountAt("/"), {mountRecord("/", 8000, 5600)}));
    ASSERT_THAT(differences, SizeIs(2));
    for (Difference const& difference : differences)
        EXPECT_EQ(difference.reason,
            "the library counts the blocks in units of the preferred block size");
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
    EXPECT_EQ(
        app::differencesOf(withMount(mountAt("/my disk"), {mountRecord("/my\\040disk", 9, 9)}))
            .front()
            .reason,
        "the library queries the kernel's escaped name");
}

TEST(MountDifference, isA0ForASizeThatNobodyKnows)
{
    Mount mount = mountAt("/");
    mount.size.reset();
    mount.used.reset();
    mount.available.reset();
    auto const differences = app::differencesOf(withMount(mount, {mountRecord("/", 0, 0)}));
    ASSERT_THAT(differences, SizeIs(2));
    EXPECT_EQ(differences[0].fact, "size_bytes");
    EXPECT_EQ(differences[0].reason, "");
    EXPECT_EQ(differences[1].fact, "available_bytes");
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

TEST(MountDifference, isFreeSpaceThatIsFarAway)
{
    expectNoDifference(withMount(mountAt("/"), {mountRecord("/", 1000, 825)}));
    Difference const difference =
        differenceOf(withMount(mountAt("/"), {mountRecord("/", 1000, 826)}));
    EXPECT_EQ(difference.fact, "available_bytes");
    EXPECT_EQ(difference.reason, "");
    Mount mount = mountAt("/");
    mount.available = 650;
    EXPECT_EQ(differenceOf(withMount(mount, {mountRecord("/", 1000, 826)})).reason, "")
        << "the reserve is not that large";
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
    Machine machine = withMount(mountAt("/"), {mountRecord("/", 1000, 700, {})});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "disks");
    EXPECT_EQ(difference.library, LibraryValue(Texts{}));
    EXPECT_EQ(difference.reason, "") << "the mount's device is unknown";
    auto const reasonFor = [&](std::string const& device) {
        machine.mounts->front().device = device;
        return differenceOf(machine).reason;
    };
    EXPECT_EQ(
        reasonFor("dm-0"), "the library finds no disks beneath a device of the device mapper");
    EXPECT_EQ(reasonFor("cciss/c0d0p1"),
        "the library finds no disks beneath a device in a folder of /dev");
    for (char const* const device : {"nvme0n1p1", "md0"})
        EXPECT_EQ(reasonFor(device),
            "the library takes the device's name without the digits at its end as the disk's");
    EXPECT_EQ(reasonFor("sda1"), "");
    machine.library[Subject::MOUNTS].trace = {"Found disk: /dev/sdb"};
    EXPECT_EQ(reasonFor("sda1"), "the library does not list the disk");
    machine.library[Subject::MOUNTS].trace = {"Found disk: /dev/sda"};
    EXPECT_EQ(reasonFor("sda1"), "");
}

TEST(MountDifference, isNoneWhereTheDisksHaveAnotherOrder)
{
    Mount mount = mountAt("/");
    mount.disks = {"sda", "sdb"};
    expectNoDifference(withMount(mount, {mountRecord("/", 1000, 700, {"sdb", "sda"})}));
}
