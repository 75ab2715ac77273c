#include "app/write/display.h"
#include "app/write/names.h"
#include "app/write/summary.h"
#include "tests/app/LocaleFor.h"
#include "tests/app/Program.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using app::Adapter;
using app::Disk;
using app::Machine;
using app::Subject;
using app_test::adapterOf;
using app_test::diskOf;
using app_test::knownMachine;
using app_test::linesBehind;
using app_test::linesOf;
using app_test::LocaleFor;
using app_test::mountOf;
using app_test::summaryOf;
using app_test::terminal;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Gt;
using testing::SizeIs;

namespace {

constexpr uint64_t GIB = 1ULL << 30;

Machine machineWithDisks(std::vector<Disk> const& disks)
{
    Machine machine;
    machine.subjects = {Subject::DISKS};
    machine.disks = disks;
    return machine;
}

Disk solidDisk(std::string const& name, uint64_t bytes)
{
    Disk disk = diskOf(name);
    disk.rotational = false;
    disk.bytes = bytes;
    return disk;
}

Machine machineWithAdapters(std::vector<Adapter> const& adapters)
{
    Machine machine;
    machine.subjects = {Subject::NETWORKS};
    machine.networks.emplace().adapters = adapters;
    return machine;
}

/** 40 disks in 5 sizes and devices on them, 30 adapters with 5 kinds of names, 50 mounts. */
Machine largeMachine()
{
    Machine machine = knownMachine();
    machine.disks->clear();
    machine.mounts->clear();
    machine.networks->adapters.clear();
    for (uint64_t i = 0; i < 40; ++i)
        machine.disks->push_back(solidDisk("sd" + std::to_string(i), (i % 5 + 1) * GIB));
    for (Disk::Type const type : {Disk::RAID, Disk::LOGICAL_VOLUME, Disk::ENCRYPTED,
             Disk::MULTIPATH, Disk::MAPPED, Disk::LOOP}) {
        machine.disks->push_back(diskOf("dm" + std::to_string(type)));
        machine.disks->back().type = type;
    }
    for (unsigned i = 0; i < 50; ++i)
        machine.mounts->push_back(mountOf("/a/long/place/number/" + std::to_string(i), i));
    for (unsigned i = 0; i < 30; ++i) {
        constexpr char const* STEMS[] = {"veth", "docker", "eno", "wlan", "br-"};
        machine.networks->adapters.push_back(
            adapterOf(STEMS[i % 5] + std::to_string(i), {"192.168.100.100", "fd00::1234:5678"}));
    }
    machine.processors->sockets = 2;
    machine.processors->cores = 64;
    machine.system->container = "docker";
    machine.differences = {{Subject::DISKS, "sd1", "size_bytes", uint64_t{1}, "x"}};
    return machine;
}

}

TEST(Summary, hasAtMost24LinesOf80ColumnsHoweverLargeTheMachine)
{
    for (char const* const locale : {"C", "C.UTF-8"}) {
        LocaleFor const set(locale);
        auto const lines = summaryOf(largeMachine(), terminal(80));

        EXPECT_THAT(lines, SizeIs(testing::Le(24U)));
        for (std::string const& line : lines)
            EXPECT_LE(app::displayWidth(line), 80U) << line;
    }
}

TEST(Summary, isNotCutInAPipe)
{
    Machine machine = machineWithAdapters({adapterOf("eth0", std::vector<std::string>(20, "x"))});

    EXPECT_THAT(summaryOf(machine).front().size(), Gt(100U));
    EXPECT_LE(summaryOf(machine, terminal(80)).front().size(), 80U);
}

TEST(Summary, isCutBehindWholeParts)
{
    Machine machine = machineWithAdapters({adapterOf("eth0", {"192.0.2.1", "198.51.100.1"})});
    EXPECT_THAT(linesBehind("Networks", summaryOf(machine, terminal(45))),
        ElementsAre("eth0  up  192.0.2.1/24 ~"))
        << "half an address is another one";
    EXPECT_THAT(linesBehind("Networks", summaryOf(machine, terminal(36))),
        ElementsAre("eth0  up  192.0.2.1/24 ~"));
    EXPECT_THAT(linesBehind("Networks", summaryOf(machine, terminal(35))),
        ElementsAre("eth0  up  192.0.2.1/24~"));
    EXPECT_THAT(
        linesBehind("Networks", summaryOf(machine, terminal(34))), ElementsAre("eth0  up ~"));
    machine = machineWithAdapters({adapterOf(std::string(50, 'x'), {})});
    EXPECT_EQ(summaryOf(machine, terminal(40)).front().size(), 40U) << "a part that is too long";
}

TEST(Summary, isNeverWiderThanItsTerminal)
{
    constexpr size_t NARROWEST = 10; // The longest label.
    for (size_t columns = 1; columns <= 200; ++columns)
        for (std::string const& line : summaryOf(largeMachine(), terminal(columns)))
            EXPECT_LE(app::displayWidth(line), std::max(columns, NARROWEST)) << line;
}

TEST(Summary, leavesLinesOfTheTerminalToTheProblemsAboveIt)
{
    for (size_t above = 0; above <= 7; ++above) {
        std::ostringstream out;
        app::writeSummary(largeMachine(), terminal(80), out, above);
        EXPECT_LE(linesOf(out.str()).size() + above, 24U);
    }
    std::ostringstream pipe;
    app::writeSummary(largeMachine(), {}, pipe, 7);
    EXPECT_EQ(linesOf(pipe.str()), summaryOf(largeMachine())) << "in a pipe nothing is left out";
}

TEST(ProblemTexts, areFewAboveTheSummaryAndAllInAPipe)
{
    std::vector<app::Problem> problems(2, app_test::failureOf(Subject::MEMORY));
    problems.resize(5, app_test::failureOf(Subject::DISKS));
    problems.resize(9, app_test::failureOf(Subject::RECOVERY));
    std::string const text = "cannot read a part of the machine from the test: the test says so";

    EXPECT_THAT(app::problemTexts(problems, {}), testing::AllOf(SizeIs(9), testing::Each(text)));
    EXPECT_THAT(app::problemTexts(problems, terminal(200)),
        ElementsAre(text, text, text, text, text, text, "and 3 more: dovrel-sysinfo recovery"));
    EXPECT_THAT(app::problemTexts(problems, terminal(70)),
        ElementsAre(text, text, "and 7 more: dovrel-sysinfo disks, dovrel-sysinfo recovery"));
    problems.resize(3);
    EXPECT_THAT(app::problemTexts(problems, terminal(70)), SizeIs(3)) << "six lines";
}

TEST(Summary, namesFewDisksAndCountsTheDevicesOnThem)
{
    Machine machine = knownMachine({Subject::DISKS});
    machine.disks->push_back(diskOf("md0"));
    machine.disks->back().type = Disk::RAID;
    machine.disks->back().raidLevel = "raid1";

    EXPECT_THAT(linesBehind("Disks", summaryOf(machine)),
        ElementsAre("sda      1.0 TiB  HDD  MODEL_1", "sd?[2Jb        -  HDD  EVIL????",
            "and 1 raid1: dovrel-sysinfo disks --tree"));
}

TEST(Summary, countsManyDisksByWhatIsAlike)
{
    std::vector<Disk> disks;
    for (unsigned i = 0; i < 3; ++i) {
        disks.push_back(diskOf("sd" + std::to_string(i)));
        disks.push_back(solidDisk("nvme" + std::to_string(i), 512 * GIB));
    }

    EXPECT_THAT(linesBehind("Disks", summaryOf(machineWithDisks(disks))),
        ElementsAre("3 x 1.0 TiB HDD", "3 x 512.0 GiB SSD"))
        << "those with the most bytes first";
    LocaleFor const utf8("C.UTF-8");
    EXPECT_THAT(
        linesBehind("Disks", summaryOf(machineWithDisks(disks))).front(), "3 × 1.0 TiB HDD");
}

TEST(Summary, hasASignForTheUnknownFactsOfADisk)
{
    Disk disk = diskOf("sda");
    disk.rotational.reset();
    disk.model = "Disk 80";
    EXPECT_THAT(linesBehind("Disks", summaryOf(machineWithDisks({disk}))),
        ElementsAre("sda  1.0 TiB  -  Disk 80"));
    disk.bytes.reset();
    EXPECT_THAT(linesBehind("Disks", summaryOf(machineWithDisks(std::vector<Disk>(5, disk)))),
        ElementsAre("5 x disk of unknown size"));
}

TEST(Summary, hasAMultipathDiskInPlaceOfItsPaths)
{
    Disk disk = diskOf("mpatha");
    disk.type = Disk::MULTIPATH;
    disk.slaves = {"sda", "sdb"};
    EXPECT_THAT(
        linesBehind("Disks",
            summaryOf(machineWithDisks({diskOf("sda"), diskOf("sdb"), disk, diskOf("sdc")}))),
        ElementsAre("mpatha  1.0 TiB  multipath", "sdc     1.0 TiB  HDD"));
}

TEST(Summary, countsAllDisksWhereTheyHaveFourSizes)
{
    std::vector<Disk> disks = {solidDisk("sda", GIB)};
    for (uint64_t i = 1; i <= 4; ++i)
        disks.push_back(solidDisk("nvme" + std::to_string(i), i * GIB));

    EXPECT_THAT(linesBehind("Disks", summaryOf(machineWithDisks(disks))),
        ElementsAre("1 x 4.0 GiB SSD", "1 x 3.0 GiB SSD", "2 x 1.0 GiB SSD", "1 x 2.0 GiB SSD"));
}

TEST(Summary, countsTheRestOfDisksOfManySizes)
{
    std::vector<Disk> disks;
    for (uint64_t i = 1; i <= 6; ++i)
        disks.push_back(solidDisk("sd" + std::to_string(i), i * GIB));

    EXPECT_THAT(linesBehind("Disks", summaryOf(machineWithDisks(disks))),
        ElementsAre("1 x 6.0 GiB SSD", "1 x 5.0 GiB SSD", "1 x 4.0 GiB SSD",
            "and 3 more: dovrel-sysinfo disks"));
}

TEST(Summary, showsTheFullestOfManyMountsInTheirOrder)
{
    Machine machine = knownMachine({Subject::MOUNTS});
    machine.mounts = {mountOf("/a", 50), mountOf("/b", 10), mountOf("/c", 90), mountOf("/d", 20),
        mountOf("/e", 70), mountOf("/image", 100)};
    machine.mounts->back().readOnly = true;

    EXPECT_THAT(linesBehind("Mounts", summaryOf(machine)),
        ElementsAre("/a  100.0 GiB  used 50.0 %", "/c  100.0 GiB  used 90.0 %",
            "/d  100.0 GiB  used 20.0 %", "/e  100.0 GiB  used 70.0 %",
            "and 2 more, less full or read-only: dovrel-sysinfo mounts"))
        << "a read-only image is always full";
    machine.mounts->pop_back();
    EXPECT_THAT(linesBehind("Mounts", summaryOf(machine)), SizeIs(5)) << "all";
    machine.mounts->push_back(mountOf("/f", 5));
    EXPECT_EQ(linesBehind("Mounts", summaryOf(machine)).back(),
        "and 2 more, less full: dovrel-sysinfo mounts");
}

TEST(Summary, showsHiddenMountsAndImagesLast)
{
    Machine machine = knownMachine({Subject::MOUNTS});
    machine.mounts = {mountOf("/hidden", 95), mountOf("/a", 50), mountOf("/b", 10),
        mountOf("/image", 100), mountOf("/c", 20), mountOf("/other", 100)};
    machine.mounts->at(0).hiddenBy = "/a";
    machine.mounts->at(3).readOnly = true;
    machine.mounts->at(5).readOnly = true;

    EXPECT_THAT(linesBehind("Mounts", summaryOf(machine)),
        ElementsAre("/hidden  100.0 GiB  used 95.0 %", "/a       100.0 GiB  used 50.0 %",
            "/b       100.0 GiB  used 10.0 %", "/c       100.0 GiB  used 20.0 %",
            "and 2 more, less full or read-only: dovrel-sysinfo mounts"));
    machine.mounts->at(1).readOnly = true;
    std::swap(machine.mounts->at(0), machine.mounts->at(3));
    EXPECT_THAT(linesBehind("Mounts", summaryOf(machine)),
        ElementsAre("/image  100.0 GiB  used 100.0 %", "/a      100.0 GiB  used 50.0 %",
            "/b      100.0 GiB  used 10.0 %", "/c      100.0 GiB  used 20.0 %",
            "and 2 more, less full or read-only: dovrel-sysinfo mounts"))
        << "images where there is nothing else, the first ones";
}

TEST(Summary, showsAdaptersWithAddressesAndCountsTheOthersByTheirStems)
{
    std::vector<Adapter> adapters;
    for (unsigned i = 0; i < 3; ++i) {
        adapters.push_back(adapterOf("veth" + std::to_string(i), {}));
        adapters.push_back(adapterOf("eth" + std::to_string(i), {"10.0.0.1"}));
    }
    adapters.push_back(adapterOf("eth3.7", {"10.0.0.2"}));

    EXPECT_THAT(linesBehind("Networks", summaryOf(machineWithAdapters(adapters))),
        ElementsAre("eth0  up  10.0.0.1/24", "eth1  up  10.0.0.1/24", "eth2  up  10.0.0.1/24",
            "and 3 veth..., eth3.7: dovrel-sysinfo networks"));
}

TEST(Summary, namesTheThreeMostFrequentStems)
{
    std::vector<Adapter> adapters;
    for (char const* const stem : {"a", "b", "b", "c", "c", "d", "e"})
        adapters.push_back(adapterOf(stem + std::to_string(adapters.size()), {}));

    EXPECT_THAT(linesBehind("Networks", summaryOf(machineWithAdapters(adapters))),
        ElementsAre("2 b..., 2 c..., a0, 2 others: dovrel-sysinfo networks"));
}

TEST(Summary, showsADashForUnknownAddresses)
{
    std::vector<Adapter> adapters = {adapterOf("eth0", {}), adapterOf("eth1", {})};
    adapters[1].addresses.reset();
    for (unsigned i = 0; i < 3; ++i)
        adapters.push_back(adapterOf("veth" + std::to_string(i), {}));

    EXPECT_THAT(linesBehind("Networks", summaryOf(machineWithAdapters(adapters))),
        ElementsAre("eth1  up  -", "and 3 veth..., eth0: dovrel-sysinfo networks"));
}

TEST(Summary, showsTheAdapterOfTheDefaultRouteFirst)
{
    std::vector<Adapter> adapters;
    for (char const* const name : {"cali0", "cali1", "cali2", "docker0", "eth0", "lo"})
        adapters.push_back(adapterOf(name, {"192.0.2.1"}));
    for (size_t i = 0; i < 3; ++i)
        adapters[i].addresses->at(0).scope = "link";
    adapters[4].gateways = {"192.0.2.254"};
    adapters[5].addresses->at(0).scope = "host";

    EXPECT_THAT(linesBehind("Networks", summaryOf(machineWithAdapters(adapters))),
        ElementsAre("eth0     up  192.0.2.1/24", "docker0  up  192.0.2.1/24",
            "cali0    up  192.0.2.1/24", "and 2 cali..., lo: dovrel-sysinfo networks"));
}

TEST(Summary, saysNoneWhereThereIsNothing)
{
    Machine machine;
    machine.subjects = {Subject::DISKS, Subject::MOUNTS, Subject::NETWORKS, Subject::RECOVERY};
    machine.disks.emplace();
    machine.mounts.emplace();
    machine.networks.emplace();

    EXPECT_THAT(summaryOf(machine),
        ElementsAre(
            "Disks       none", "Mounts      none", "Networks    none", "Recovery    none"));
}

TEST(Summary, showsTheFactsThatAreKnown)
{
    Machine machine = knownMachine();
    machine.memory->swapTotal = 0;
    auto const lines = summaryOf(machine);

    EXPECT_THAT(linesBehind("System", lines),
        ElementsAre("file?server, Acme?[2J Rocket 9000", "Some Linux 12, up 1 day 1:01"));
    EXPECT_THAT(linesBehind("Processors", lines),
        ElementsAre("2 x Acme CPU", "load 25.0 %, up to 10400 MHz"));
    EXPECT_THAT(linesBehind("Memory", lines),
        ElementsAre("16.0 GiB, used 12.0 GiB (75.0 %)", "available 4.0 GiB, no swap"));
    EXPECT_THAT(linesBehind("Mounts", lines),
        ElementsAre("/         100.0 GiB  used 75.0 %", "/odd?[2J  100.0 GiB  used -"));
    EXPECT_THAT(linesBehind("Networks", lines),
        ElementsAre("eth0    up  10.0.0.5/24, 10.0.0.6/24", "tun0    up  10.1.0.1/24",
            "ib?[2J  up  no address", "name servers 10.0.0.1"));
    EXPECT_THAT(linesBehind("Recovery", lines), ElementsAre("restoring, 37 %"));
}

TEST(Summary, hasBoldLabelsWhereColorsAreWanted)
{
    Machine const machine = knownMachine({Subject::MEMORY});
    app::Layout layout;
    layout.colors = true;

    EXPECT_THAT(summaryOf(machine, layout),
        ElementsAre("\x1B[1mMemory      \x1B[0m16.0 GiB, used 12.0 GiB (75.0 %)",
            "            available 4.0 GiB, no swap"));
    layout.columns = 20;
    EXPECT_THAT(summaryOf(machine, layout),
        ElementsAre("\x1B[1mMemory\x1B[0m", testing::StartsWith("  16.0 GiB"),
            testing::StartsWith("  available")));
}

TEST(Summary, drawsABarForAKnownShareOnATerminal)
{
    Machine machine = knownMachine({Subject::MEMORY});
    EXPECT_EQ(linesBehind("Memory", summaryOf(machine, terminal(80))).front(),
        "16.0 GiB, used 12.0 GiB (75.0 %)  ########..");
    machine.memory->available.reset();
    EXPECT_EQ(
        linesBehind("Memory", summaryOf(machine, terminal(80))).front(), "16.0 GiB, used - (-)");
}

TEST(Summary, namesTheVirtualMachineAndTheContainer)
{
    Machine machine = knownMachine({Subject::SYSTEM});
    auto const line = [&machine] { return linesBehind("System", summaryOf(machine)).front(); };
    std::string const make = "file?server, Acme?[2J Rocket 9000";

    machine.system->container = "none";
    EXPECT_EQ(line(), make);
    machine.system->container = "podman";
    EXPECT_EQ(line(), make + ", podman container");
    machine.system->virtualMachine = "other";
    EXPECT_EQ(line(), make + ", virtual machine, podman container");
    machine.system->virtualMachine = "KVM";
    EXPECT_EQ(line(), make + ", KVM virtual machine, podman container");
    machine.system->virtualMachine.reset();
    EXPECT_EQ(line(), make + ", podman container");
}

TEST(Summary, namesAVendorOnceWhereTheProductHasItsName)
{
    Machine machine = knownMachine({Subject::SYSTEM});
    machine.system->vendor = "Acme Rocket";
    machine.system->product = "Rocket";
    machine.system->version = "Mk 2";
    EXPECT_EQ(linesBehind("System", summaryOf(machine)).front(), "file?server, Acme Rocket Mk 2");
}

TEST(Summary, saysThatTheMakeAndTheModelAreUnknown)
{
    Machine machine = knownMachine({Subject::SYSTEM, Subject::PROCESSORS});
    machine.system = app::System();
    machine.processors = app::Processors();
    machine.processors->list.resize(2);

    EXPECT_THAT(linesBehind("System", summaryOf(machine)),
        ElementsAre("unknown make", "unknown operating system"));
    EXPECT_THAT(linesBehind("Processors", summaryOf(machine)), ElementsAre("2 x unknown model"));
}

TEST(Summary, hasTheSwapInUse)
{
    Machine machine = knownMachine({Subject::MEMORY});
    machine.memory->swapTotal = 2 * GIB;
    machine.memory->swapFree = GIB / 2;
    EXPECT_EQ(linesBehind("Memory", summaryOf(machine)).back(),
        "available 4.0 GiB, swap 2.0 GiB, used 1.5 GiB");
}

TEST(Summary, saysThatSwapIsUnknownWhereTheKernelDoesNotReportIt)
{
    Machine machine = knownMachine();
    machine.memory->swapTotal.reset();
    EXPECT_THAT(
        linesBehind("Memory", summaryOf(machine)).back(), EndsWith(" 4.0 GiB, swap unknown"));
}

TEST(Summary, saysThatALoadIsUnknownOnlyWhereItWasMeasured)
{
    Machine machine = knownMachine({Subject::PROCESSORS});
    machine.processors->loadPercent.reset();
    EXPECT_EQ(
        linesBehind("Processors", summaryOf(machine)).back(), "load unknown, up to 10400 MHz");
    machine.processors->loadsMeasured = false;
    EXPECT_EQ(linesBehind("Processors", summaryOf(machine)).back(), "up to 10400 MHz");
}

TEST(Summary, countsTheFactsThatTheLibraryReportsOtherwise)
{
    Machine machine = knownMachine({Subject::DISKS});
    EXPECT_THAT(summaryOf(machine).back(), testing::Not(testing::StartsWith("Library")));
    machine.differences.resize(1);
    EXPECT_EQ(summaryOf(machine).back(),
        "Library     1 fact differs for the host: dovrel-sysinfo library");
    machine.differences.resize(2);
    EXPECT_EQ(summaryOf(machine).back(),
        "Library     2 facts differ for the host: dovrel-sysinfo library");
}
