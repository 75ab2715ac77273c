// The memory of real machines: see captures_test.cpp.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/reference/dmidecode_output.h"
#include "tests/reference/proc_meminfo.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"
#include "tests/sysinfo/CountingListener.h"
#include "tests/sysinfo/captures.h"
#include "tests/sysinfo/memory_trace.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <set>
#include <sstream>
#include <string>

using testkit::CapturedTrace;
using testkit::Captures;
using testkit::CaptureSource;
using testkit::contentsOf;
using testkit::endsWith;
using testkit::expectFact;
using testkit::machine;
using testkit::sourcesOf;

namespace {

/** @return whether the library's rules find no module in the text although it lists some. */
bool hasUnknownLayout(CaptureSource const& source)
{
    // dmidecode 2.2 indents the header below the handle.
    static std::set<std::string> const files = {"glpi-rhel-3.4.txt", "glpi-rhel-4.3.txt"};
    return files.count(source.path.substr(source.path.rfind('/') + 1)) != 0;
}

/** @return whether the text has a module of "0 TB", which the index does not count. */
bool hasAModuleOfSizeZero(CaptureSource const& source)
{
    return endsWith(source.path, "/dmi-size_0_TB-1-27D749A992E1.txt");
}

}

TEST_F(Captures, ofProcMeminfoMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("proc-meminfo", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        reference::KernelMemory const expected = reference::readMeminfo(text);
        machine.file("/proc/meminfo", text);
        uint64_t total = 1;
        uint64_t free = 2;
        EXPECT_EQ(
            sysinfo::LinuxSystemInformation().UNIXSystemInformation::getMemoryInfo(total, free),
            expected.total() && expected.free());
        EXPECT_EQ(total, expected.total().value_or(1));
        EXPECT_EQ(free, expected.free().value_or(2));
        expectFact(source, "MemTotal", total);
        expectFact(source, "MemFree", free);
    }
}

TEST_F(Captures, ofDmidecodeMatchTheReferenceParser)
{
    for (CaptureSource const& source : sourcesOf("dmidecode", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        reference::MemoryModules const expected = reference::readModules(text);
        std::istringstream stream(text);
        testkit::CountingListener listener;
        EXPECT_EQ(sysinfo::sumOfModules(stream, listener), expected.sum);
        EXPECT_EQ(listener.sections, expected.sections);
        EXPECT_EQ(listener.seeksFailed, 0U);
        EXPECT_EQ(listener.ignored, expected.withoutSize);
        EXPECT_EQ(listener.sizeLines, expected.count + expected.withoutSize);

        if (hasUnknownLayout(source)) {
            EXPECT_EQ(expected.sum, 0U);
            EXPECT_NE(source.facts.at("total_KiB"), "0");
            continue;
        }
        expectFact(source, "total_KiB", expected.sum);
        expectFact(source, "populated", expected.count - hasAModuleOfSizeZero(source));
    }
}

TEST_F(Captures, ofDmidecodeLoseOnlyLinesThatStraddleTwoReads)
{
    testkit::calls.waitForTools();
    size_t straddling = 0;
    for (CaptureSource const& source : sourcesOf("dmidecode", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        reference::MemoryModules const expected = reference::readModules(text);
        machine.file("/proc/meminfo", "MemTotal: 0 kB\nMemFree: 5 kB\n");
        machine.tool("/usr/sbin/dmidecode", "cat " + source.path);

        uint64_t total = 1;
        uint64_t free = 2;
        CapturedTrace trace;
        EXPECT_TRUE(sysinfo::LinuxSystemInformation().getMemoryInfo(total, free));
        testkit::TracedDump const dump(trace);
        EXPECT_EQ(dump.sections, expected.sections) << "the output is incomplete";
        size_t lostWithoutSize = 0;
        for (std::string const& line : dump.straddling)
            lostWithoutSize += !reference::sizeIn(line);
        EXPECT_EQ(total + dump.lost(), expected.sum);
        EXPECT_EQ(free, 5U);
        EXPECT_EQ(dump.sizeLines, expected.count + expected.withoutSize);
        EXPECT_EQ(dump.withoutSize + lostWithoutSize, expected.withoutSize);
        EXPECT_EQ(trace.text(4),
            "dmidecode ran successfully, found: " + std::to_string(expected.sum - dump.lost())
                + "\n");
        straddling += dump.straddling.size();
    }
    // The collection is large enough to have some; the recorded files may have none.
    if (std::getenv("DOVREL_CAPTURES")) {
        EXPECT_GT(straddling, 0U);
    }
}
