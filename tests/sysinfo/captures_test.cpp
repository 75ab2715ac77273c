// Texts recorded on real machines. The library's result for each must agree with the reference
// parser and with the facts in the collection's index.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/reference/proc_stat.h"
#include "tests/reference/sys_cpufreq.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/captures.h"

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

/** A kernel with frequency policies keeps the files in `cpufreq/policyN` and makes a link for each
 * processor. A listing has no links. @return the policy's folder by processor number. */
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

void makeFiles(std::map<std::string, std::string> const& listing)
{
    machine.empty();
    for (auto const& [path, contents] : listing)
        machine.file("/" + path, contents + "\n");
    for (auto const& [index, policy] : policiesIn(listing))
        machine.link("/" + std::string(CPU_FOLDER) + "cpu" + std::to_string(index) + "/cpufreq",
            "../" + policy.substr(sizeof CPU_FOLDER - 1));
}

/** @return the contents of one file of cpufreq, by processor number. */
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

TEST_F(Captures, ofProcStatMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("proc-stat", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        reference::ProcessorTable const expected = reference::readProcessors(text);
        machine.file("/proc/stat", text);

        Processors processors;
        EXPECT_TRUE(sysinfo::LinuxSystemInformation().getCPUsInternal(processors));
        EXPECT_EQ(processors.size(), expected.processors.size());
        EXPECT_EQ(processors.size(), reference::processorWords(text).size());
        for (reference::Processor const& processor : expected.processors) {
            SCOPED_TRACE("cpu" + std::to_string(processor.index));
            unsigned int idle = 0;
            unsigned int busy = 0;
            EXPECT_TRUE(UNIXCPUInfo(processor.index).readCounters(idle, busy));
            EXPECT_EQ(idle, processor.counters.idle);
            EXPECT_EQ(busy, processor.counters.busy);
        }

        expectFact(source, "cpus", processors.size());
        expectFact(source, "sum_jiffies", expected.sumOfAllProcessors);
        if (!expected.processors.empty())
            expectFact(source, "columns", expected.processors.front().figures);
    }
}

TEST_F(Captures, ofCpufreqMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("sys-cpufreq", "-listing.txt")) {
        SCOPED_TRACE(source.path);
        auto const listing = reference::readListing(contentsOf(source.path));
        makeFiles(listing);
        auto const current = speedsIn(listing, "scaling_cur_freq");
        auto const limits = speedsIn(listing, "bios_limit");
        ASSERT_FALSE(current.empty());
        // One more than there are: a processor without files.
        for (unsigned int i = 0; i <= current.rbegin()->first + 1; ++i) {
            SCOPED_TRACE("cpu" + std::to_string(i));
            auto const speed = current.find(i);
            auto const limit = limits.find(i);
            EXPECT_EQ(UNIXCPUInfo(i).getCurrentSpeedInMHZ(),
                speed == current.end() ? 0 : reference::megahertz(speed->second));
            EXPECT_EQ(UNIXCPUInfo(i).getMaxSpeedInMHZ(),
                limit == limits.end() ? 0 : reference::megahertz(limit->second));
        }

        expectFact(source, "cpus_with_cur_freq", current.size());
        expectFact(source, "bios_limit", limits.size());
        if (!source.facts.empty()) {
            EXPECT_EQ(UNIXCPUInfo(0).getCurrentSpeedInMHZ(),
                reference::megahertz(source.facts.at("cpu0")));
        }
    }
}
