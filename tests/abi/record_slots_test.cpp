#include "sysinfo/SystemInformation.h"
#include "tests/abi/vtable.h"

#include <gtest/gtest.h>

#include <stdexcept>

// A host calls the operations of the abstract records by their slots in the header. The classes
// here derive from them, so their tables show those slots.

using sysinfo::SystemInformation;

namespace {

/** A different argument for each function keeps the compiler from merging them. */
[[noreturn]] void neverCalled(char const* operation)
{
    throw std::logic_error(operation);
}

}

// Not in the unnamed namespace: the tests compare their names.

struct DiskRecord : SystemInformation::DiskInfo {
    dovrel::string toString() const override { neverCalled("toString"); }
    dovrel::string getDiskName() const override { neverCalled("name"); }
    std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>>
    getParentDisks() const override
    {
        neverCalled("parents");
    }
    uint64_t getDiskSizeInBytes() const override { neverCalled("size"); }
    uint64_t getDiskFreeInBytes() const override { neverCalled("free"); }
    DiskInfo* clone() const override { neverCalled("clone"); }
    void destroy() override { neverCalled("destroy"); }
};

struct PhysicalDiskRecord : SystemInformation::PhysicalDiskInfo {
    dovrel::string toString() const override { neverCalled("toString"); }
    dovrel::string getDiskID() const override { neverCalled("id"); }
    unsigned int getDiskNumberOfPartitions() const override { neverCalled("partitions"); }
    uint64_t getDiskTotalSizeInBytes() const override { neverCalled("size"); }
    dovrel::string getDiskCaption() const override { neverCalled("caption"); }
    PhysicalDiskInfo* clone() const override { neverCalled("clone"); }
    void destroy() override { neverCalled("destroy"); }
};

struct CPURecord : SystemInformation::CPUInfo {
    dovrel::string toString() const override { neverCalled("toString"); }
    unsigned int getMaxSpeedInMHZ() const override { neverCalled("max"); }
    unsigned int getCurrentSpeedInMHZ() const override { neverCalled("current"); }
    float getCurrentUsage() const override { neverCalled("usage"); }
    CPUInfo* clone() const override { neverCalled("clone"); }
    void destroy() override { neverCalled("destroy"); }
};

struct NetworkRecord : SystemInformation::NetworkInfo {
    dovrel::string toString() const override { neverCalled("toString"); }
    dovrel::string getHostname() const override { neverCalled("hostname"); }
    dovrel::string getName() const override { neverCalled("name"); }
    dovrel::macaddress_cpp getMACAddr() const override { neverCalled("mac"); }
    std::vector<dovrel::string> getNetmasks() const override { neverCalled("masks"); }
    std::vector<dovrel::ip_address> getIPAddrs() const override { neverCalled("ip"); }
    std::vector<dovrel::ip_address> getDNSAddrs() const override { neverCalled("dns"); }
    std::vector<dovrel::ip_address> getGatewayAddrs() const override { neverCalled("gateway"); }
    NetworkInfo* clone() const override { neverCalled("clone"); }
    void destroy() override { neverCalled("destroy"); }
};

struct CloneRecord : SystemInformation::CloneInfo {
    dovrel::string toString() const override { neverCalled("toString"); }
    unsigned int getOperationID() const override { neverCalled("operation"); }
    unsigned int getFailedOperationID() const override { neverCalled("failed"); }
    unsigned int getOperationProgress() const override { neverCalled("progress"); }
    unsigned int getTotalFiles() const override { neverCalled("total files"); }
    unsigned int getTotalMBytes() const override { neverCalled("total size"); }
    unsigned int getFilesDone() const override { neverCalled("files"); }
    unsigned int getMBytesDone() const override { neverCalled("size"); }
    long getRecoverStartTime() const override { neverCalled("recover start"); }
    long getRecoverEndTime() const override { neverCalled("recover end"); }
    long getRestoreStartTime() const override { neverCalled("restore start"); }
    long getRestoreEndTime() const override { neverCalled("restore end"); }
    double getThroughput() const override { neverCalled("throughput"); }
    dovrel::string getLastError() const override { neverCalled("error"); }
    CloneInfo* clone() const override { neverCalled("clone"); }
    void destroy() override { neverCalled("destroy"); }
};

namespace {

template <class Record>
void expectSlots(char const* name, std::vector<std::string> const& operations)
{
    Record const record;
    expectTable(&record, recordTable(name, operations));
}

TEST(RecordSlots, ofDisksAreInOrder)
{
    expectSlots<DiskRecord>("10DiskRecord",
        {"toString", "getDiskName", "getParentDisks", "getDiskSizeInBytes", "getDiskFreeInBytes",
            "clone", "!destroy"});
}

TEST(RecordSlots, ofPhysicalDisksAreInOrder)
{
    expectSlots<PhysicalDiskRecord>("18PhysicalDiskRecord",
        {"toString", "getDiskID", "getDiskNumberOfPartitions", "getDiskTotalSizeInBytes",
            "getDiskCaption", "clone", "!destroy"});
}

TEST(RecordSlots, ofProcessorsAreInOrder)
{
    expectSlots<CPURecord>("9CPURecord",
        {"toString", "getMaxSpeedInMHZ", "getCurrentSpeedInMHZ", "getCurrentUsage", "clone",
            "!destroy"});
}

TEST(RecordSlots, ofNetworkAdaptersAreInOrder)
{
    expectSlots<NetworkRecord>("13NetworkRecord",
        {"toString", "getHostname", "getName", "getMACAddr", "getNetmasks", "getIPAddrs",
            "getDNSAddrs", "getGatewayAddrs", "clone", "!destroy"});
}

TEST(RecordSlots, ofARecoveryAreInOrder)
{
    expectSlots<CloneRecord>("11CloneRecord",
        {"toString", "getOperationID", "getFailedOperationID", "getOperationProgress",
            "getTotalFiles", "getTotalMBytes", "getFilesDone", "getMBytesDone",
            "getRecoverStartTime", "getRecoverEndTime", "getRestoreStartTime", "getRestoreEndTime",
            "getThroughput", "getLastError", "clone", "!destroy"});
}

}
