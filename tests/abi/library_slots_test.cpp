#include "sysinfo/LinuxSystemInformation.h"
#include "tests/abi/vtable.h"

#include <gtest/gtest.h>

#include <typeinfo>

// SystemInformation and two of its records: classes whose code is in the library.

using sysinfo::SystemInformation;
using sysinfo::UNIXSystemInformation;

namespace {

constexpr char UNIX_CLASS[] = "7sysinfo21UNIXSystemInformation";
constexpr char LINUX_CLASS[] = "7sysinfo22LinuxSystemInformation";

std::string unixQuery(std::string const& nameAndArguments)
{
    return std::string("_ZNK") + UNIX_CLASS + nameAndArguments;
}

std::string linuxQuery(std::string const& nameAndArguments)
{
    return std::string("_ZNK") + LINUX_CLASS + nameAndArguments;
}

/** @return the mangled argument list of a query that fills a list of records. */
std::string list(std::string const& record)
{
    return "ERSt6vectorIN6dovrel9value_ptrINS_17SystemInformation" + record + "EEESaIS6_EE";
}

TEST(ServiceSlots, areInOrder)
{
    // A 64-bit integer is `unsigned long long` on i386 and `unsigned long` on amd64.
    std::string const twoFigures = std::string("ER") + typeid(uint64_t).name() + "S1_";
    std::string const string = "NSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";
    std::vector<std::string> const expected{"offset 0", std::string("_ZTIN") + LINUX_CLASS + 'E',
        std::string("_ZN") + LINUX_CLASS + "D1Ev", std::string("_ZN") + LINUX_CLASS + "D0Ev",
        linuxQuery("5cloneEv"), std::string("_ZN") + LINUX_CLASS + "7destroyEv",
        linuxQuery("13getMemoryInfo" + twoFigures), unixQuery("12getCloneInfoERb"),
        linuxQuery("24getPhysicalDisksInternal" + list("16PhysicalDiskInfo")),
        unixQuery("16getDisksInternal" + list("8DiskInfo")), unixQuery("12getLastErrorEv"),
        unixQuery("15getCPUsInternal" + list("7CPUInfo")),
        linuxQuery("19getNetworksInternal" + list("11NetworkInfo")),
        unixQuery("13getSystemInfoER" + string + "S7_S7_RNS_17SystemInformation14HypervisorTypeE")};
    auto const service = SystemInformation::create();
    expectTable(service.get(), expected);
}

TEST(ProcessorSlots, areInOrder)
{
    UNIXSystemInformation::UNIXCPUInfo const processor(0);
    expectTable(&processor,
        recordTable(std::string(UNIX_CLASS) + "11UNIXCPUInfo",
            {"toString", "getMaxSpeedInMHZ", "getCurrentSpeedInMHZ", "getCurrentUsage", "!destroy",
                "clone"}));
}

TEST(RecoverySlots, areInOrder)
{
    UNIXSystemInformation::UNIXCloneInfo const record(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0.0, L"");
    expectTable(&record,
        recordTable(std::string(UNIX_CLASS) + "13UNIXCloneInfo",
            {"toString", "getOperationID", "getFailedOperationID", "getOperationProgress",
                "getTotalFiles", "getTotalMBytes", "getFilesDone", "getMBytesDone",
                "getRecoverStartTime", "getRecoverEndTime", "getRestoreStartTime",
                "getRestoreEndTime", "getThroughput", "getLastError", "!destroy", "clone"}));
}

}
