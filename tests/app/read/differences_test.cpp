#include "tests/app/read/FoundDifferences.h"

using app::Difference;
using app::Disk;
using app::LibraryAnswer;
using app::LibraryRecord;
using app::LibraryValue;
using app::Machine;
using app::Processor;
using app::Subject;
using app_read_test::adapterRecord;
using app_read_test::answer;
using app_read_test::differenceOf;
using app_read_test::diskOf;
using app_read_test::diskRecord;
using app_read_test::expectNoDifference;
using app_read_test::Texts;
using app_read_test::withDisk;
using testing::SizeIs;

namespace {

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

Processor processorOf(unsigned current, unsigned highest)
{
    Processor processor;
    processor.currentMHz = current;
    processor.highestMHz = highest;
    return processor;
}

LibraryRecord memoryRecord(uint64_t total, uint64_t free)
{
    return {"", {{"totalKiB", total}, {"freeKiB", free}}};
}

/** @param total in bytes, as @p free is; those of the record are KiB. */
Machine withMemory(uint64_t total, uint64_t free, LibraryRecord const& record)
{
    Machine machine;
    machine.memory.emplace().total = total;
    machine.memory->free = free;
    answer(machine, Subject::MEMORY, {record});
    return machine;
}

Machine withProcessor(Processor const& processor)
{
    Machine machine;
    machine.processors.emplace().list = {processor};
    return machine;
}

}

TEST(Differences, areNoneWithoutAnAnswerOfTheLibrary)
{
    Machine machine;
    machine.disks = {diskOf("sda", 1)};
    expectNoDifference(machine);
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
    machine.disks->push_back(diskOf("sdb", 1));
    machine.library[Subject::DISKS].outcome = LibraryAnswer::THREW;
    machine.library[Subject::DISKS].reason = "no memory";
    auto const differences = app::differencesOf(machine);
    ASSERT_THAT(differences, SizeIs(2));
    EXPECT_EQ(differences[1].item, "sda");
    EXPECT_EQ(differences[1].reason, "no memory");
}

TEST(Differences, haveAProvenReasonInAHalfAnswerToo)
{
    Machine machine = withDisk(diskOf("nvme0n1", 1), {diskRecord("sdb", 1, 0)});
    machine.disks->push_back(diskOf("sdb", 1));
    machine.library[Subject::DISKS].outcome = LibraryAnswer::THREW;
    machine.library[Subject::DISKS].reason = "no memory";
    auto const differences = app::differencesOf(machine);
    ASSERT_THAT(differences, SizeIs(2));
    EXPECT_EQ(differences[1].reason, "the library lists the names that do not end in a digit");
}

TEST(Differences, areNotCountedInAHalfAnswer)
{
    Machine machine;
    machine.processors.emplace().list = {Processor(), Processor()};
    machine.processors->list[0].currentMHz = 1000;
    machine.processors->list[0].highestMHz = 1000;
    machine.processors->list[1].number = 1;
    answer(machine, Subject::PROCESSORS, {processorRecord(1000, 1000)}).outcome =
        LibraryAnswer::THREW;
    differenceOf(machine);
    machine.processors.reset();
    machine.library.clear();
    machine.networks.emplace().nameServers = Texts{"10.0.0.1"};
    machine.networks->adapters.emplace_back().name = "eth0";
    answer(machine, Subject::NETWORKS, {adapterRecord("eth0", {})}).outcome = LibraryAnswer::THREW;
    differenceOf(machine);
}

TEST(SystemDifference, isATextWithFurtherLinesOrBlanks)
{
    char const* const reason = "the library takes the firmware's text as it stands";
    Difference const difference = differenceOf(withVendor("Acme", "Acme "));
    EXPECT_EQ(difference.fact, "vendor");
    EXPECT_EQ(difference.library, LibraryValue(std::string("Acme ")));
    EXPECT_EQ(difference.reason, reason);
    EXPECT_EQ(differenceOf(withVendor("Acme", "Acme\nInc")).reason, reason);
    EXPECT_EQ(differenceOf(withVendor("Acme", "Ace")).reason, "");
}

TEST(SystemDifference, isAPlaceholder)
{
    Machine machine = withVendor("", "To be filled by O.E.M.");
    machine.system->vendor.reset();
    EXPECT_EQ(differenceOf(machine).reason, "the library takes the firmware's text as it stands");
    machine = withVendor("", "Acme");
    machine.system->vendor.reset();
    EXPECT_EQ(differenceOf(machine).reason, "");
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
    Difference const vendor = differenceOf(withVendor("Acme", ""));
    EXPECT_EQ(vendor.library, std::nullopt);
    EXPECT_EQ(vendor.reason, "") << "both take it of DMI";
    Machine machine = withVendor("", "");
    machine.system->product = "Acme Board 4";
    EXPECT_EQ(differenceOf(machine).reason,
        "the library takes the firmware's text of DMI, which has none");
}

TEST(SystemDifference, isAnotherHypervisor)
{
    Machine machine;
    machine.system.emplace().virtualMachine = "KVM";
    answer(machine, Subject::SYSTEM, {systemRecord("", 5)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "virtual_machine");
    EXPECT_EQ(difference.library, LibraryValue(std::string("QEMU")));
    EXPECT_EQ(difference.reason, "");
    machine.system->virtualMachine = "Hyper-V";
    answer(machine, Subject::SYSTEM, {systemRecord("", 11)});
    EXPECT_EQ(differenceOf(machine).reason,
        "the chassis's tag or the first adapter's MAC address is Azure's");
}

TEST(SystemDifference, isNoneInOutputsThatAFailedQueryHasNotSet)
{
    Machine machine = withVendor("Acme", "");
    machine.system->virtualMachine = "KVM";
    machine.library[Subject::SYSTEM].outcome = LibraryAnswer::RETURNED_FALSE;
    EXPECT_EQ(differenceOf(machine).fact, "") << "the failure itself";
}

TEST(SystemDifference, isNoneWhereBothReportTheSame)
{
    Machine machine = withVendor("Acme", "Acme");
    machine.system->virtualMachine = "none";
    expectNoDifference(machine);
    machine.system->virtualMachine.reset();
    answer(machine, Subject::SYSTEM, {systemRecord("Acme", 99)});
    expectNoDifference(machine);
}

TEST(ProcessorDifference, isAnotherNumberOfProcessors)
{
    Machine machine = withProcessor(processorOf(1000, 2000));
    LibraryAnswer& library = answer(
        machine, Subject::PROCESSORS, {processorRecord(1000, 2000), processorRecord(1000, 2000)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "count");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{2}));
    EXPECT_EQ(difference.reason, "") << "it may have changed in between";
    library.source = "cpu 1\ncpu0 1 2\nintr 1 cpufreq1\n";
    EXPECT_EQ(differenceOf(machine).reason,
        "the library counts the words of /proc/stat that begin with cpu and end in a digit");
}

TEST(ProcessorDifference, isANumberBehindAGap)
{
    Processor processor = processorOf(1000, 2000);
    processor.number = 3;
    Machine machine = withProcessor(processor);
    answer(machine, Subject::PROCESSORS, {processorRecord(1000, 2000)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.item, "3");
    EXPECT_EQ(difference.fact, "number");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{0}));
    EXPECT_EQ(difference.reason, "the library numbers processors from 0 without gaps");
}

TEST(ProcessorDifference, isAHighestSpeedThatIsNotTheFirmwaresLimit)
{
    Machine machine = withProcessor(processorOf(1000, 3900));
    answer(machine, Subject::PROCESSORS, {processorRecord(1000, 0)});
    Difference const missing = differenceOf(machine);
    EXPECT_EQ(missing.fact, "highest_hertz");
    EXPECT_EQ(missing.reason, "the library finds no speed in cpufreq's bios_limit");
    answer(machine, Subject::PROCESSORS, {processorRecord(1000, 3000)});
    EXPECT_EQ(differenceOf(machine).reason,
        "the library reports the firmware's limit, cpufreq's bios_limit");
}

TEST(ProcessorDifference, isA0ForASpeedThatNobodyKnows)
{
    Machine machine = withProcessor({});
    answer(machine, Subject::PROCESSORS, {processorRecord(0, 0)});
    auto const differences = app::differencesOf(machine);
    ASSERT_THAT(differences, SizeIs(2));
    EXPECT_EQ(differences[0].fact, "highest_hertz");
    EXPECT_EQ(differences[0].library, LibraryValue(uint64_t{0}));
    EXPECT_EQ(differences[1].fact, "current_hertz");
    answer(machine, Subject::PROCESSORS, {processorRecord(1000, 2000)});
    expectNoDifference(machine);
}

TEST(ProcessorDifference, isAPresentSpeedOnlyWhereTheLibraryHasNone)
{
    Machine machine = withProcessor(processorOf(1200, 2000));
    answer(machine, Subject::PROCESSORS, {processorRecord(0, 2000)});
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "current_hertz");
    EXPECT_EQ(difference.reason, "the library finds no speed in cpufreq's scaling_cur_freq");
    answer(machine, Subject::PROCESSORS, {processorRecord(1300, 2000)});
    expectNoDifference(machine);
}

TEST(MemoryDifference, isTheSumOfTheModules)
{
    Machine machine = withMemory(1024, 1024, memoryRecord(2, 1));
    Difference const difference = differenceOf(machine);
    EXPECT_EQ(difference.fact, "total_bytes");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{2048}));
    EXPECT_EQ(difference.reason,
        "the library reports the sum of the installed modules where that is more than the kernel's "
        "figure");
    machine.memory->total = 2048;
    expectNoDifference(machine);
    machine.memory->total = 4096;
    EXPECT_EQ(differenceOf(machine).reason, "");
}

TEST(MemoryDifference, isNoneInOutputsThatAFailedQueryHasNotSet)
{
    Machine machine = withMemory(1024, 1024, memoryRecord(0, 0));
    machine.library[Subject::MEMORY].outcome = LibraryAnswer::RETURNED_FALSE;
    EXPECT_EQ(differenceOf(machine).fact, "") << "the failure itself";
}

TEST(MemoryDifference, isAFreeMemoryThatIsFarAway)
{
    expectNoDifference(withMemory(102400, 51200, memoryRecord(100, 62)));
    expectNoDifference(withMemory(102400, 51200, memoryRecord(100, 38)));
    Difference const difference = differenceOf(withMemory(102400, 51200, memoryRecord(100, 63)));
    EXPECT_EQ(difference.fact, "free_bytes");
    EXPECT_EQ(difference.library, LibraryValue(uint64_t{64512}));
    EXPECT_EQ(difference.reason, "");
    EXPECT_EQ(differenceOf(withMemory(102400, 51200, memoryRecord(100, 37))).fact, "free_bytes");
}
