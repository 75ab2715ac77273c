#include "common/basic/handle.h"
#include "common/basic/processstream/src/pistream.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/abi/object_bytes.h"
#include "tests/abi/vtable.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Disks, handles and command streams: classes whose code is in the library.

namespace {

constexpr char HOLDER[] = "N6dovrel8handles0IiPFiiEE";

int ignoreClosing(int /*value*/)
{
    return 0;
}

/** A class whose only virtual function is its destructor. @p name: without its last "E". */
std::vector<std::string> destructorTable(std::string const& name)
{
    return singleTable(name + 'E', {"_Z" + name + "D1Ev", "_Z" + name + "D0Ev"});
}

TEST(DiskSlots, ofAMountedDiskAreInOrder)
{
    sysinfo::UNIXSystemInformation::UNIXDiskInfo const disk(L"/", {});
    expectTable(&disk,
        recordTable("7sysinfo21UNIXSystemInformation12UNIXDiskInfo",
            {"toString", "getDiskName", "getParentDisks", "getDiskSizeInBytes",
                "getDiskFreeInBytes", "!destroy", "clone"}));
}

TEST(DiskSlots, ofAPhysicalDiskAreInOrder)
{
    sysinfo::LinuxSystemInformation::LinuxPhysicalDiskInfo const disk(L"no such disk", 0, 0);
    expectTable(&disk,
        recordTable("7sysinfo22LinuxSystemInformation21LinuxPhysicalDiskInfo",
            {"toString", "getDiskID", "getDiskNumberOfPartitions", "getDiskTotalSizeInBytes",
                "getDiskCaption", "!destroy", "clone"}));
}

TEST(DiskSlots, ofHandleAndItsHolderAreDestructors)
{
    auto const owner = dovrel::autohandle(1, ignoreClosing);
    expectTable(&owner, destructorTable("N6dovrel6handleIiE"));
    dovrel::handles0<int, int (*)(int)> const made(1, ignoreClosing);
    expectTable(&made, destructorTable(HOLDER));
    auto const* const shared = layout::fieldAt<void const*>(owner, sizeof(void*));
    expectTable(shared, destructorTable(HOLDER + std::string("6impls0")));
}

TEST(DiskSlots, ofBasicPbufAreInOrder)
{
    basic_pbuf<char> const buffer("exit 0");
    std::string const name = "10basic_pbufIcSt11char_traitsIcEE";
    std::vector<std::string> slots{"_ZN" + name + "D1Ev", "_ZN" + name + "D0Ev"};
    slots.insert(slots.end(), 7, NO_SYMBOL);
    slots.push_back("_ZN" + name + "9underflowEv");
    slots.insert(slots.end(), 4, NO_SYMBOL);
    expectTable(&buffer, singleTable(name, slots));
}

}
