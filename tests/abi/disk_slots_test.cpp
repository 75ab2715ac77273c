#include "common/basic/handle.h"
#include "common/basic/processstream/src/pistream.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/abi/vtable.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

// Disks and what they are looked at with: the tables of classes whose code is in the library.

namespace {

constexpr char HANDLES[] = "N6dovrel8handles0IiPFiiEE";

int ignoreClosing(int /*value*/)
{
    return 0;
}

/** A class that has a destructor and nothing else: @p name is mangled, without its last "E". */
std::vector<std::string> destructorTable(std::string const& name)
{
    return {"offset 0", "_ZTI" + name + 'E', "_Z" + name + "D1Ev", "_Z" + name + "D0Ev"};
}

TEST(DiskSlots, ofAMountedDiskAreInOrder)
{
    sysinfo::UNIXSystemInformation::UNIXDiskInfo const disk(L"/", {});
    auto const expected = recordTable("7sysinfo21UNIXSystemInformation12UNIXDiskInfo",
        {"toString", "getDiskName", "getParentDisks", "getDiskSizeInBytes", "getDiskFreeInBytes",
            "!destroy", "clone"});
    EXPECT_EQ(vtableOf(&disk, expected), expected);
}

TEST(DiskSlots, ofAPhysicalDiskAreInOrder)
{
    sysinfo::LinuxSystemInformation::LinuxPhysicalDiskInfo const disk(L"no such disk", 0, 0);
    auto const expected = recordTable("7sysinfo22LinuxSystemInformation21LinuxPhysicalDiskInfo",
        {"toString", "getDiskID", "getDiskNumberOfPartitions", "getDiskTotalSizeInBytes",
            "getDiskCaption", "!destroy", "clone"});
    EXPECT_EQ(vtableOf(&disk, expected), expected);
}

TEST(DiskSlots, ofHandleAndItsHolderAreDestructors)
{
    auto const owner = dovrel::autohandle(1, ignoreClosing);
    auto expected = destructorTable("N6dovrel6handleIiE");
    EXPECT_EQ(vtableOf(&owner, expected), expected);

    dovrel::handles0<int, int (*)(int)> const made(1, ignoreClosing);
    expected = destructorTable(HANDLES);
    EXPECT_EQ(vtableOf(&made, expected), expected);

    void const* shared = nullptr;
    std::memcpy(&shared, reinterpret_cast<char const*>(&owner) + sizeof(void*), sizeof shared);
    expected = destructorTable(HANDLES + std::string("6impls0"));
    EXPECT_EQ(vtableOf(shared, expected), expected);
}

TEST(DiskSlots, ofBasicPbufAreInOrder)
{
    basic_pbuf<char> const buffer("exit 0");
    std::string const name = "10basic_pbufIcSt11char_traitsIcEE";
    // The C++ library's file as systems ship it has no names for what it keeps to itself.
    std::string const standard = "unknown";
    std::vector<std::string> expected{
        "offset 0", "_ZTI" + name, "_ZN" + name + "D1Ev", "_ZN" + name + "D0Ev"};
    expected.insert(expected.end(), 7, standard);
    expected.push_back("_ZN" + name + "9underflowEv");
    expected.insert(expected.end(), 4, standard);
    EXPECT_EQ(vtableOf(&buffer, expected), expected);
}

}
