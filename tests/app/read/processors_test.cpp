#include "app/read/LoadMeter.h"
#include "app/read/Reader.h"
#include "tests/app/read/FakeSys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

using app::Machine;
using app::Processor;
using app::Processors;
using app_read_test::writeFiles;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testkit::machine;

namespace {

Processors foundProcessors()
{
    Machine found;
    app::readProcessors(found);
    EXPECT_THAT(found.problems, IsEmpty());
    return found.processors.value_or(Processors());
}

std::string folderOf(unsigned number)
{
    return "/sys/devices/system/cpu/cpu" + std::to_string(number);
}

/** A machine with the processors 0 to COUNT - 1. */
void online(unsigned count)
{
    std::string stat = "cpu  1 2 3 4\n";
    for (unsigned i = 0; i < count; ++i)
        stat += "cpu" + std::to_string(i) + " 1 2 3 4\n";
    machine.file("/proc/stat", stat);
}

std::optional<std::string> modelIn(std::string const& cpuinfo)
{
    online(1);
    machine.file("/proc/cpuinfo", cpuinfo);
    return foundProcessors().model;
}

Processor readSpeeds(app_read_test::Files const& files, std::string const& cpuinfo)
{
    online(1);
    writeFiles(folderOf(0) + "/cpufreq", files);
    machine.file("/proc/cpuinfo", cpuinfo);
    return foundProcessors().list.at(0);
}

void topology(unsigned number, std::string const& socket, std::string const& core)
{
    writeFiles(
        folderOf(number) + "/topology", {{"physical_package_id", socket}, {"core_id", core}});
}

}

TEST(Processors, haveAGapWhereOneIsOffline)
{
    machine.file("/proc/stat", "cpu  1 2\ncpu0 1 2\ncpu2 1 2\ncpu10 1 2\nintr 1\ncpufreq 1\n");
    std::vector<unsigned> numbers;
    for (Processor const& processor : foundProcessors().list)
        numbers.push_back(processor.number);
    EXPECT_THAT(numbers, ElementsAre(0U, 2U, 10U));
}

TEST(Processors, haveTheSpeedsOfCpufreq)
{
    Processor const processor =
        readSpeeds({{"cpuinfo_min_freq", "800000"}, {"scaling_cur_freq", "2394374"},
                       {"cpuinfo_max_freq", "3900000"}},
            "");
    EXPECT_EQ(processor.lowestMHz, 800U);
    EXPECT_EQ(processor.currentMHz, 2394U);
    EXPECT_EQ(processor.highestMHz, 3900U);
}

TEST(Processors, haveTheSpeedOfCpuinfoWithoutCpufreq)
{
    Processor const processor = readSpeeds({}, "processor\t: 0\ncpu MHz\t\t: 2394.374\n");
    EXPECT_EQ(processor.currentMHz, 2394U);
    EXPECT_EQ(processor.lowestMHz, std::nullopt);
    EXPECT_EQ(processor.highestMHz, std::nullopt);
}

TEST(Processors, haveTheSpeedOfCpuinfoWhereCpufreqDoesNotKnowIt)
{
    for (char const* const unknown : {"<unknown>", "0"})
        EXPECT_EQ(readSpeeds({{"scaling_cur_freq", unknown}}, "processor: 0\ncpu MHz: 1200.5\n")
                      .currentMHz,
            1200U)
            << unknown;
}

TEST(Processors, haveNoSpeedOfZero)
{
    Processor const processor = readSpeeds(
        {{"cpuinfo_min_freq", "0"}, {"cpuinfo_max_freq", "0"}}, "processor: 0\ncpu MHz: 0.000\n");
    EXPECT_EQ(processor.lowestMHz, std::nullopt);
    EXPECT_EQ(processor.currentMHz, std::nullopt);
    EXPECT_EQ(processor.highestMHz, std::nullopt);
}

TEST(Processors, haveTheModelUnderTheNameOfTheirArchitecture)
{
    EXPECT_EQ(modelIn("processor\t: 0\nmodel\t\t: 85\nmodel name\t: Acme(R) 9 @ 2 GHz\n"),
        "Acme(R) 9 @ 2 GHz");
    EXPECT_EQ(modelIn("Processor\t: ARMv7 rev 4 (v7l)\nprocessor\t: 0\n\nHardware\t: Board\n"),
        "ARMv7 rev 4 (v7l)");
    EXPECT_EQ(modelIn("system type\t: X\nprocessor\t: 0\ncpu model\t: MIPS 24Kc V7.4\n"),
        "MIPS 24Kc V7.4");
    EXPECT_EQ(modelIn("processor\t: 0\ncpu\t\t: POWER8\nclock\t: 3425MHz\n"), "POWER8");
    EXPECT_EQ(modelIn("processor\t: 0\nBogoMIPS\t: 108\n\nHardware\t: BCM2835\n"), "BCM2835");
}

TEST(Processors, haveNoModelWhereTheKernelReportsNone)
{
    EXPECT_EQ(modelIn("processor\t: 0\nmodel name\t:\n"), std::nullopt);
    EXPECT_EQ(modelIn(""), std::nullopt);
}

TEST(Processors, countSocketsAndCores)
{
    online(4);
    topology(0, "0", "0");
    topology(1, "0", "0");
    topology(2, "0", "1");
    topology(3, "1", "0");
    Processors const processors = foundProcessors();
    EXPECT_EQ(processors.sockets, 2U);
    EXPECT_EQ(processors.cores, 3U);
    EXPECT_EQ(processors.list.at(2).core, 1U);
    EXPECT_EQ(processors.list.at(3).socket, 1U);
}

TEST(Processors, haveTheTopologyOfCpuinfoWhereSysfsHasNone)
{
    machine.file("/proc/cpuinfo",
        "processor: 0\nphysical id: 0\ncore id: 0\n\nprocessor: 1\nphysical id: 3\ncore id: 7\n");
    online(2);
    Processors const processors = foundProcessors();
    EXPECT_EQ(processors.sockets, 2U);
    EXPECT_EQ(processors.list.at(1).socket, 3U);
    EXPECT_EQ(processors.list.at(1).core, 7U);
}

TEST(Processors, countNeitherSocketsNorCoresWhereOneIsUnknown)
{
    online(2);
    topology(0, "0", "0");
    topology(1, "-1", "-1");
    Processors const processors = foundProcessors();
    EXPECT_EQ(processors.sockets, std::nullopt);
    EXPECT_EQ(processors.cores, std::nullopt);
    EXPECT_EQ(processors.list.at(1).socket, std::nullopt);
}

TEST(Processors, haveOneProblemForFilesWithoutTheirNumber)
{
    online(2);
    topology(0, "-1", "-1");
    topology(1, "socket", "");
    writeFiles(folderOf(0) + "/cpufreq", {{"scaling_cur_freq", "<unknown>"}});
    writeFiles(folderOf(1) + "/cpufreq", {{"cpuinfo_max_freq", "fast"}});
    Machine found;
    app::readProcessors(found);
    ASSERT_THAT(found.problems, SizeIs(2));
    EXPECT_EQ(
        found.problems[0].source, folderOf(1) + "/topology/physical_package_id and 1 other file");
    EXPECT_EQ(found.problems[0].reason, "it has no number");
    EXPECT_EQ(found.problems[1].source, folderOf(1) + "/cpufreq/cpuinfo_max_freq");
}

TEST(Processors, haveTheNodeThatListsThem)
{
    online(6);
    std::string const folder = "/sys/devices/system/node/";
    writeFiles(folder,
        {{"node0/cpulist", "0-1,4"}, {"node1/cpulist", "2-3,99-98,x,5-70000"},
            {"node2/cpulist", ""}, {"possible", "0-1"}, {"nodex/cpulist", "5"}});
    Machine found;
    app::readProcessors(found);
    Processors const& processors = *found.processors;
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].source, folder + "node1/cpulist");
    EXPECT_EQ(found.problems[0].reason, "it has no valid value");
    EXPECT_EQ(processors.nodes, 3U) << "a node of memory only counts";
    std::vector<std::optional<unsigned>> nodes;
    for (Processor const& processor : processors.list)
        nodes.push_back(processor.node);
    EXPECT_THAT(nodes, ElementsAre(0U, 0U, 1U, 1U, 0U, std::nullopt));
}

TEST(Processors, haveNoNodesOnKernelsWithoutNuma)
{
    online(1);
    EXPECT_EQ(foundProcessors().nodes, std::nullopt);
    EXPECT_EQ(foundProcessors().list.at(0).node, std::nullopt);
}

TEST(Processors, comeFromCpuinfoWhereStatCannotBeRead)
{
    machine.file("/proc/cpuinfo", "processor: 0\n\nprocessor: 1\n");
    Machine found;
    app::readProcessors(found);
    EXPECT_THAT(found.processors->list, SizeIs(2));
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].source, "/proc/stat");
}

TEST(LoadMeter, hasOneProblemWhereStatCannotBeRead)
{
    online(1);
    Machine found;
    app::readProcessors(found);
    machine.remove("/proc/stat");
    machine.folder("/proc/stat");
    app::LoadMeter().begin(found);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].fact, "the processors' loads");
    EXPECT_EQ(found.problems[0].source, "/proc/stat");
    EXPECT_EQ(found.problems[0].reason, "Is a directory");
    app::LoadMeter().begin(found);
    EXPECT_THAT(found.problems, SizeIs(1));
}

TEST(LoadMeter, hasAProblemWhereStatHasNoCounters)
{
    online(1);
    Machine found;
    app::readProcessors(found);
    machine.file("/proc/stat", "");
    app::LoadMeter().begin(found);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "it has no counters of a processor");
}

TEST(LoadMeter, addsNoProblemToThatOfTheProcessors)
{
    machine.file("/proc/cpuinfo", "processor: 0\n");
    machine.folder("/proc/stat");
    Machine found;
    app::readProcessors(found);
    app::LoadMeter().begin(found);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].fact, "the processors");
}

TEST(Processors, areAProblemWhereNoFileListsOne)
{
    machine.file("/proc/stat", "cpu  1 2 3 4\n");
    Machine found;
    app::readProcessors(found);
    EXPECT_FALSE(found.processors);
    ASSERT_THAT(found.problems, SizeIs(1));
    EXPECT_EQ(found.problems[0].reason, "it has no line of a processor");
}

TEST(Processors, haveOneReasonForAllSpeedsWithoutACpufreqDriver)
{
    online(16);
    machine.file("/proc/cpuinfo", "processor: 0\nmodel name: Acme\nphysical id: 0\ncore id: 0\n");
    Machine found;
    app::readProcessors(found);
    ASSERT_THAT(found.unavailable, SizeIs(3));
    EXPECT_EQ(found.unavailable[0].fact, "the sockets and cores");
    EXPECT_EQ(found.unavailable[1].fact, "speeds (lowest, current, highest)");
    EXPECT_EQ(found.unavailable[1].reason, "the kernel has no cpufreq driver for the processors");
    EXPECT_EQ(found.unavailable[2].reason, "there is no /sys/devices/system/node");
    EXPECT_THAT(found.problems, IsEmpty());
}

TEST(Processors, haveADriverThatDoesNotReportASpeed)
{
    online(1);
    writeFiles(
        folderOf(0) + "/cpufreq", {{"cpuinfo_min_freq", "0"}, {"scaling_cur_freq", "1000000"}});
    Machine found;
    app::readProcessors(found);
    ASSERT_THAT(found.unavailable, SizeIs(4));
    EXPECT_EQ(found.unavailable[0].fact, "the model of the processors");
    EXPECT_EQ(found.unavailable[0].reason, "there is no /proc/cpuinfo");
    EXPECT_EQ(found.unavailable[2].fact, "speeds (lowest, highest)");
    EXPECT_EQ(found.unavailable[2].reason, "the cpufreq driver does not report them");
}

TEST(Processors, haveOneProblemForAllSpeedsThatAreDenied)
{
    online(3);
    for (unsigned number = 0; number < 3; ++number) {
        writeFiles(folderOf(number) + "/cpufreq", {{"scaling_cur_freq", "1000000"}});
        ASSERT_EQ(chmod((folderOf(number) + "/cpufreq/scaling_cur_freq").c_str(), 0), 0);
    }
    machine.file("/proc/cpuinfo", "processor: 0\n");
    ASSERT_EQ(chmod("/proc/cpuinfo", 0), 0);
    Machine found;
    app::readProcessors(found);
    ASSERT_THAT(found.problems, SizeIs(2));
    EXPECT_EQ(found.problems[0].fact, "the model of the processors");
    EXPECT_EQ(found.problems[1].fact, "the speeds of the processors");
    EXPECT_EQ(
        found.problems[1].source, folderOf(0) + "/cpufreq/scaling_cur_freq and 2 other files");
    EXPECT_EQ(found.problems[1].reason, "Permission denied");
}
