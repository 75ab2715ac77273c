// Texts of real machines: what the library finds in each must be what a second reader finds in it,
// and what the collection's index says of it.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/captures.h"
#include "tests/sysinfo/second_reader.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

using testkit::Captures;
using testkit::CaptureSource;
using testkit::contentsOf;
using testkit::endsWith;
using testkit::expectFact;
using testkit::machine;
using testkit::sourcesOf;

namespace {

using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;
using Processors = std::vector<dovrel::value_ptr<sysinfo::SystemInformation::CPUInfo>>;

constexpr char CPU_FOLDER[] = "sys/devices/system/cpu/";

/** A kernel with frequency policies has the files in `cpufreq/policyN` and a link for each
 * processor, which a listing of files cannot show. @return the policy's folder by the number of the
 * processor.
 */
std::map<unsigned int, std::string> policiesIn(std::map<std::string, std::string> const& listing)
{
    std::map<unsigned int, std::string> policies;
    std::string const beginning = std::string(CPU_FOLDER) + "cpufreq/policy";
    std::string const end = "/affected_cpus";
    for (auto const& [path, contents] : listing) {
        if (path.rfind(beginning, 0) != 0 || !endsWith(path, end))
            continue;
        std::istringstream processors(contents);
        for (unsigned int index = 0; processors >> index;)
            policies[index] = path.substr(0, path.size() - end.size());
    }
    return policies;
}

void showFiles(std::map<std::string, std::string> const& listing)
{
    machine.empty();
    for (auto const& [path, contents] : listing)
        machine.file("/" + path, contents + "\n");
    for (auto const& [index, policy] : policiesIn(listing))
        machine.link("/" + std::string(CPU_FOLDER) + "cpu" + std::to_string(index) + "/cpufreq",
            "../" + policy.substr(sizeof CPU_FOLDER - 1));
}

/** The speeds of one kind that a listing tells, by processor number. */
std::map<unsigned int, std::string> speedsIn(
    std::map<std::string, std::string> const& listing, std::string const& file)
{
    std::string const beginning = std::string(CPU_FOLDER) + "cpu";
    std::map<unsigned int, std::string> speeds;
    for (auto const& [path, contents] : listing)
        if (endsWith(path, "/cpufreq/" + file))
            speeds[static_cast<unsigned int>(std::stoul(path.substr(beginning.size())))] = contents;
    for (auto const& [index, policy] : policiesIn(listing))
        if (auto const found = listing.find(policy + "/" + file); found != listing.end())
            speeds[index] = found->second;
    return speeds;
}

}

TEST_F(Captures, ofProcessorsAreReadAsTheSecondReaderReadsThem)
{
    for (CaptureSource const& source : sourcesOf("proc-stat", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        testkit::ProcStat const expected = testkit::readProcStat(text);
        machine.file("/proc/stat", text);

        Processors processors;
        EXPECT_TRUE(sysinfo::LinuxSystemInformation().getCPUsInternal(processors));
        EXPECT_EQ(processors.size(), expected.processors.size());
        for (testkit::ProcStatLine const& line : expected.processors) {
            SCOPED_TRACE("cpu" + std::to_string(line.index));
            unsigned int idle = 0;
            unsigned int busy = 0;
            EXPECT_TRUE(UNIXCPUInfo(line.index).readCounters(idle, busy));
            EXPECT_EQ(idle, line.idle);
            EXPECT_EQ(busy, line.busy);
        }

        expectFact(source, "cpus", processors.size());
        expectFact(source, "sum_jiffies", expected.sumOfAllProcessors);
        if (!expected.processors.empty())
            expectFact(source, "columns", expected.processors.front().figures);
    }
}

TEST_F(Captures, ofSpeedsAreReadAsTheSecondReaderReadsThem)
{
    for (CaptureSource const& source : sourcesOf("sys-cpufreq", "-listing.txt")) {
        SCOPED_TRACE(source.path);
        auto const listing = testkit::readListing(contentsOf(source.path));
        showFiles(listing);
        auto const current = speedsIn(listing, "scaling_cur_freq");
        auto const limits = speedsIn(listing, "bios_limit");
        ASSERT_FALSE(current.empty());
        // One number more than there is, to see the answer for a processor without files.
        for (unsigned int i = 0; i <= current.rbegin()->first + 1; ++i) {
            SCOPED_TRACE("cpu" + std::to_string(i));
            auto const speed = current.find(i);
            auto const limit = limits.find(i);
            EXPECT_EQ(UNIXCPUInfo(i).getCurrentSpeedInMHZ(),
                speed == current.end() ? 0 : testkit::thousandsOf(speed->second));
            EXPECT_EQ(UNIXCPUInfo(i).getMaxSpeedInMHZ(),
                limit == limits.end() ? 0 : testkit::thousandsOf(limit->second));
        }

        expectFact(source, "cpus_with_cur_freq", current.size());
        expectFact(source, "bios_limit", limits.size());
        if (!source.facts.empty()) {
            EXPECT_EQ(UNIXCPUInfo(0).getCurrentSpeedInMHZ(),
                testkit::thousandsOf(source.facts.at("cpu0")));
        }
    }
}
