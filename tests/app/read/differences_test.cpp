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
    EXPECT_EQ(difference.reason, "the library takes the firmware's text as it stands");
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
    expectNoDifference(machine);
    machine.system->virtualMachine.reset();
    answer(machine, Subject::SYSTEM, {systemRecord("Acme", 99)});
    expectNoDifference(machine);
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
    expectNoDifference(machine);
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
    expectNoDifference(machine);
}
