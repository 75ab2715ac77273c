#include "app/read/differences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::Adapter;
using app::Difference;
using app::Disk;
using app::LibraryAnswer;
using app::LibraryRecord;
using app::LibraryValue;
using app::Machine;
using app::Mount;
using app::Processor;
using app::Subject;
using testing::IsEmpty;
using testing::SizeIs;

using Texts = std::vector<std::string>;

namespace {

constexpr char const* ESCAPED = "the library queries the kernel's escaped name, which is no folder";

LibraryAnswer& answer(Machine& machine, Subject subject, std::vector<LibraryRecord> const& records)
{
    machine.library[subject].records = records;
    return machine.library[subject];
}

/** The only difference. */
Difference differenceOf(Machine const& machine)
{
    auto const differences = app::differencesOf(machine);
    EXPECT_THAT(differences, SizeIs(1));
    return differences.empty() ? Difference() : differences.front();
}

void expectNone(Machine const& machine)
{
    for (Difference const& difference : app::differencesOf(machine))
        ADD_FAILURE() << difference.item << " " << difference.fact << ": " << difference.reason;
}

LibraryRecord systemRecord(std::string const& vendor, uint64_t hypervisor)
{
    return {"",
        {{"vendor", vendor}, {"product", std::string()}, {"version", std::string()},
            {"hypervisor", hypervisor}}};
}

Machine withVendor(std::string const& vendor, std::string const& library)
{
    Machine machine;
    machine.system.emplace().vendor = vendor;
    answer(machine, Subject::SYSTEM, {systemRecord(library, 0)});
    return machine;
}

LibraryRecord processorRecord(uint64_t current, uint64_t highest)
{
    return {"", {{"getCurrentSpeedInMHZ", current}, {"getMaxSpeedInMHZ", highest}}};
}

Machine withProcessor(Processor const& processor)
{
    Machine machine;
    machine.processors.emplace().list = {processor};
    return machine;
}

Disk diskOf(std::string const& name, uint64_t bytes)
{
    Disk disk;
    disk.name = name;
    disk.bytes = bytes;
    return disk;
}

LibraryRecord diskRecord(std::string const& name, uint64_t size, uint64_t partitions)
{
    return {"",
        {{"getDiskID", name}, {"getDiskTotalSizeInBytes", size},
            {"getDiskNumberOfPartitions", partitions}}};
}

Machine withDisk(Disk const& disk, std::vector<LibraryRecord> const& records)
{
    Machine machine;
    machine.disks = {disk};
    answer(machine, Subject::DISKS, records);
    return machine;
}

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

LibraryRecord adapterRecord(
    std::string const& name, Texts const& addresses, Texts const& servers = {})
{
    return {"", {{"getName", name}, {"getIPAddrs", addresses}, {"getDNSAddrs", servers}}};
}

Machine withAdapter(Texts const& addresses, std::vector<LibraryRecord> const& records)
{
    Machine machine;
    Adapter& adapter = machine.networks.emplace().adapters.emplace_back();
    adapter.name = "eth0";
    for (std::string const& address : addresses)
        adapter.addresses.push_back({address, 24U, "global"});
    answer(machine, Subject::NETWORKS, records);
    return machine;
}

}

TEST(Differences, areNoneWithoutAnAnswerOfTheLibrary)
{
    Machine machine;
    machine.disks = {diskOf("sda", 1)};
    expectNone(machine);
}

TEST(Differences, haveTheReasonOfAQueryThatFailed)
{
    Machine machine;
    machine.disks = {diskOf("sda", 1)};
    LibraryAnswer& failed = answer(machine, Subject::DISKS, {});
    failed.outcome = LibraryAnswer::RETURNED_FALSE;
    failed.reason = "Failed to open: /proc/partitions";
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.subject, Subject::DISKS);
    EXPECT_EQ(difference.item, "");
    EXPECT_EQ(difference.fact, "");
    EXPECT_EQ(difference.reason, "Failed to open: /proc/partitions");
}

TEST(Differences, haveTheReasonOfTheFailureForWhatItCost)
{
    Machine machine = withDisk(diskOf("sda", 1), {diskRecord("sdb", 1, 0)});
    machine.library[Subject::DISKS].outcome = LibraryAnswer::THREW;
    machine.library[Subject::DISKS].reason = "no memory";
    auto const differences = app::differencesOf(machine);
    ASSERT_THAT(differences, SizeIs(2));
    EXPECT_EQ(differences[1].item, "sda");
    EXPECT_EQ(differences[1].reason, "no memory");
}

TEST(Differences, areNotCountedInAHalfAnswer)
{
    Machine machine;
    machine.processors.emplace().list = {Processor(), Processor()};
    machine.processors->list[1].number = 1;
    answer(machine, Subject::PROCESSORS, {processorRecord(0, 0)}).outcome = LibraryAnswer::THREW;
    differenceOf(machine);
    machine.processors.reset();
    machine.library.clear();
    machine.networks.emplace().nameServers = Texts{"10.0.0.1"};
    answer(machine, Subject::NETWORKS, {adapterRecord("eth0", {})}).outcome = LibraryAnswer::THREW;
    differenceOf(machine);
}

TEST(SystemDifference, isATextThatTheLibraryDoesNotTrim)
{
    Difference const difference = differenceOf(withVendor("Acme", "Acme "));
    EXPECT_EQ(difference.fact, "vendor");
    EXPECT_EQ(difference.library, LibraryValue(std::string("Acme ")));
    EXPECT_EQ(
        difference.reason, "the library takes the firmware's text as it stands, blanks included");
}

TEST(SystemDifference, isATextThatTheLibraryCuts)
{
    std::string const text(60, 'x');
    char const* const reason = "the library's texts have 47 bytes at most";
    EXPECT_EQ(differenceOf(withVendor(text, text.substr(0, 47))).reason, reason);
    EXPECT_EQ(differenceOf(withVendor(text, text.substr(0, 44))).reason, reason)
        << "before a character of four bytes";
    EXPECT_NE(differenceOf(withVendor(text, text.substr(0, 43))).reason, reason);
}

TEST(SystemDifference, isATextThatTheLibraryDoesNotHave)
{
    Difference const difference = differenceOf(withVendor("Acme", ""));
    EXPECT_EQ(difference.library, std::nullopt);
    EXPECT_EQ(difference.reason, "the library takes the firmware's text of DMI, which has none");
}

TEST(SystemDifference, isAnotherHypervisor)
{
    Machine machine;
    machine.system.emplace().virtualMachine = "KVM";
    answer(machine, Subject::SYSTEM, {systemRecord("", 5)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "virtual_machine");
    EXPECT_EQ(difference.library, LibraryValue(std::string("QEMU")));
    EXPECT_EQ(difference.reason,
        "the library goes by the processor and by the first adapter's MAC address");
}

TEST(SystemDifference, isNoneWhereBothReportTheSame)
{
    Machine machine = withVendor("Acme", "Acme");
    machine.system->virtualMachine = "none";
    expectNone(machine);
    machine.system->virtualMachine.reset();
    answer(machine, Subject::SYSTEM, {systemRecord("Acme", 99)});
    expectNone(machine);
}

TEST(ProcessorDifference, isAnotherNumberOfProcessors)
{
    Machine machine = withProcessor({});
    answer(machine, Subject::PROCESSORS, {processorRecord(0, 0), processorRecord(0, 0)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "count");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{2}));
    EXPECT_EQ(difference.reason,
        "the library counts the words of /proc/stat that begin with cpu and end in a digit");
}

TEST(ProcessorDifference, isANumberBehindAGap)
{
    Processor processor;
    processor.number = 3;
    Machine machine = withProcessor(processor);
    answer(machine, Subject::PROCESSORS, {processorRecord(0, 0)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.item, "3");
    EXPECT_EQ(difference.fact, "number");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{0}));
    EXPECT_EQ(difference.reason, "the library numbers processors from 0 without gaps");
}

TEST(ProcessorDifference, isAHighestSpeedThatIsNotTheFirmwaresLimit)
{
    Processor processor;
    processor.highestMHz = 3900;
    Machine machine = withProcessor(processor);
    answer(machine, Subject::PROCESSORS, {processorRecord(0, 0)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "highest_mhz");
    EXPECT_EQ(difference.reason,
        "the library reports the firmware's limit (bios_limit), 0 where there is none");
}

TEST(ProcessorDifference, isAPresentSpeedOnlyWhereTheLibraryHasNone)
{
    Processor processor;
    processor.currentMHz = 1200;
    Machine machine = withProcessor(processor);
    answer(machine, Subject::PROCESSORS, {processorRecord(0, 0)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "current_mhz");
    EXPECT_EQ(difference.reason, "the library reads the speed from cpufreq, which has none here");
    answer(machine, Subject::PROCESSORS, {processorRecord(1300, 0)});
    expectNone(machine);
}

TEST(MemoryDifference, isTheSumOfTheModules)
{
    Machine machine;
    machine.memory.emplace().total = 1024;
    answer(machine, Subject::MEMORY, {{"", {{"totalKiB", uint64_t{2}}, {"freeKiB", uint64_t{1}}}}});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "total_bytes");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{2048}));
    EXPECT_EQ(difference.reason,
        "the library reports the sum of the installed modules where that is more than the kernel's "
        "figure");
    machine.memory->total = 2048;
    expectNone(machine);
}

TEST(DiskDifference, isADiskWhoseNameEndsInADigit)
{
    Difference const difference = differenceOf(withDisk(diskOf("nvme0n1", 1), {}));
    EXPECT_EQ(difference.item, "nvme0n1");
    EXPECT_EQ(difference.fact, "");
    EXPECT_EQ(difference.reason, "the library lists the names that do not end in a digit");
}

TEST(DiskDifference, isADiskOnUsb)
{
    Disk disk = diskOf("sdb", 1);
    disk.transport = "usb";
    EXPECT_EQ(differenceOf(withDisk(disk, {})).reason, "the library leaves USB storage out");
}

TEST(DiskDifference, isADiskWhoseNameBeginsTheNextOnes)
{
    EXPECT_EQ(differenceOf(withDisk(diskOf("sda", 1), {})).reason,
        "the library leaves out a disk whose name begins the next one's");
}

TEST(DiskDifference, isASizeInTheLibrarysUnit)
{
    Difference const difference =
        differenceOf(withDisk(diskOf("sda", 1000), {diskRecord("sda", 500, 0)}));
    EXPECT_EQ(difference.fact, "size_bytes");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{500}));
    EXPECT_EQ(
        difference.reason, "the library's figure is blocks of 1,024 bytes times the sector size");
}

TEST(DiskDifference, isASizeOfADeviceThatCannotBeOpened)
{
    EXPECT_EQ(differenceOf(withDisk(diskOf("sda", 1000), {diskRecord("sda", 0, 0)})).reason,
        "the device cannot be opened or does not report its sector size");
}

TEST(DiskDifference, isAnotherNumberOfPartitions)
{
    Difference const difference =
        differenceOf(withDisk(diskOf("sda", 1), {diskRecord("sda", 1, 2)}));
    EXPECT_EQ(difference.fact, "partitions");
    EXPECT_EQ(difference.reason, "the library compares names by their beginning");
}

TEST(DiskDifference, isNoneForWhatIsNoDisk)
{
    Disk disk = diskOf("md0", 1);
    disk.type = Disk::RAID;
    expectNone(withDisk(disk, {}));
    expectNone(withDisk(diskOf("sda", 7), {diskRecord("sda", 7, 0)}));
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
    expectNone(withMount(mountAt("/"), {mountRecord("/", 1000, 690)}));
    Mount mount = mountAt("/");
    mount.size.reset();
    expectNone(withMount(mount, {mountRecord("/", 1000, 690)}));
}

TEST(MountDifference, isADiskThatTheLibraryDoesNotFind)
{
    Difference const difference =
        differenceOf(withMount(mountAt("/"), {mountRecord("/", 1000, 700, {})}));
    EXPECT_EQ(difference.fact, "disks");
    EXPECT_EQ(difference.library, LibraryValue(Texts{}));
    EXPECT_EQ(difference.reason,
        "the library finds the disks of partitions such as sda1, not of nvme0n1p1, md or LVM");
}

TEST(NetworkDifference, isANameServerThatTheLibraryReadsElsewhere)
{
    Machine machine = withAdapter({}, {adapterRecord("eth0", {}, {"10.0.0.1", "10.0.0.2"})});
    machine.networks->nameServers = Texts{"10.0.0.1"};
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "name_servers");
    EXPECT_EQ(difference.library, LibraryValue(Texts{"10.0.0.1", "10.0.0.2"}));
    EXPECT_EQ(difference.reason,
        "the library takes the word behind \"nameserver\" on every line of /etc/resolv.conf");
    machine.networks->nameServers = Texts{"10.0.0.2", "10.0.0.1"};
    expectNone(machine);
}

TEST(NetworkDifference, isAnAdapterThatIfconfigDoesNotList)
{
    Difference const difference = differenceOf(withAdapter({}, {}));
    EXPECT_EQ(difference.item, "eth0");
    EXPECT_EQ(difference.reason, "ifconfig does not list the adapter");
}

TEST(NetworkDifference, isAnAliasWithARecordOfItsOwn)
{
    Difference const difference = differenceOf(withAdapter({"10.0.0.5", "10.0.0.6"},
        {adapterRecord("eth0", {"10.0.0.5"}), adapterRecord("eth0", {"10.0.0.6"})}));
    EXPECT_EQ(difference.fact, "records");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{2}));
    EXPECT_EQ(difference.reason, "the library reports an alias as an adapter of its own");
}

TEST(NetworkDifference, isAnAddressThatIfconfigDoesNotShow)
{
    Difference const difference =
        differenceOf(withAdapter({"10.0.0.5", "10.0.0.6"}, {adapterRecord("eth0", {"10.0.0.5"})}));
    EXPECT_EQ(difference.fact, "addresses");
    EXPECT_EQ(difference.reason, "the library reads the output of ifconfig");
}

TEST(NetworkDifference, isAnAddressThatTheLibraryCannotRead)
{
    EXPECT_EQ(differenceOf(withAdapter({"fe80::1"}, {adapterRecord("eth0", {"<invalid>"})})).reason,
        "the library cannot read the IPv6 addresses of net-tools before 2.0");
}

TEST(NetworkDifference, isAGateway)
{
    Machine machine = withAdapter({}, {adapterRecord("eth0", {})});
    machine.networks->adapters[0].gateways = {"10.0.0.1"};
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "gateways");
    EXPECT_EQ(difference.reason, "the library traces gateways and stores none");
}
