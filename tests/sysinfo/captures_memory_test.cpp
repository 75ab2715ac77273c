// Memory as real machines tell it: see captures_test.cpp.

#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/parsers/dmidecode_output.h"
#include "tests/support/CapturedTrace.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/captures.h"
#include "tests/sysinfo/memory_second_reader.h"
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
using testkit::DumpedModules;
using testkit::endsWith;
using testkit::expectFact;
using testkit::machine;
using testkit::sourcesOf;

namespace {

/** Where the rules find nothing, but the index's own reader does. */
bool hasUnknownLayout(CaptureSource const& source)
{
    // Written by dmidecode 2.2, which indents the header below the handle.
    static std::set<std::string> const files = {"glpi-rhel-3.4.txt", "glpi-rhel-4.3.txt"};
    return files.count(source.path.substr(source.path.rfind('/') + 1)) != 0;
}

/** The index does not count a module of "0 TB" as one. */
bool hasAModuleOfNothing(CaptureSource const& source)
{
    return endsWith(source.path, "/dmi-size_0_TB-1-27D749A992E1.txt");
}

class CountingListener final : public sysinfo::FirmwareDumpListener {
public:
    void seekFailed() override { ++seeksFailed; }
    void sizeLine(std::string const&, uint64_t, std::string const&) override { ++sizeLines; }
    void sizeLineIgnored(std::string const&) override { ++ignored; }

    size_t seeksFailed = 0;
    size_t sizeLines = 0;
    size_t ignored = 0;
};

size_t headersIn(std::string const& text)
{
    size_t headers = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        headers += !line.empty() && std::string(" \t\r\v").find(line[0]) == std::string::npos;
    return headers;
}

}

TEST_F(Captures, ofTheKernelsMemoryAreReadAsTheSecondReaderReadsThem)
{
    for (CaptureSource const& source : sourcesOf("proc-meminfo", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        testkit::MeminfoFigures const expected = testkit::readMeminfo(text);
        machine.file("/proc/meminfo", text);
        uint64_t total = 1;
        uint64_t free = 2;
        EXPECT_EQ(
            sysinfo::LinuxSystemInformation().UNIXSystemInformation::getMemoryInfo(total, free),
            expected.total && expected.free);
        EXPECT_EQ(total, expected.total.value_or(1));
        EXPECT_EQ(free, expected.free.value_or(2));
        expectFact(source, "MemTotal", total);
        expectFact(source, "MemFree", free);
    }
}

TEST_F(Captures, ofFirmwareDumpsAreReadAsTheSecondReaderReadsThem)
{
    for (CaptureSource const& source : sourcesOf("dmidecode", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        DumpedModules const expected = testkit::readDump(text);
        std::istringstream stream(text);
        CountingListener listener;
        EXPECT_EQ(sysinfo::sumOfModules(stream, listener), expected.sum);
        EXPECT_EQ(listener.seeksFailed, 0U);
        EXPECT_EQ(listener.ignored, expected.withoutSize);
        EXPECT_EQ(listener.sizeLines, expected.count + expected.withoutSize);

        if (hasUnknownLayout(source)) {
            EXPECT_EQ(expected.sum, 0U);
            EXPECT_NE(source.facts.at("total_KiB"), "0");
            continue;
        }
        expectFact(source, "total_KiB", expected.sum);
        expectFact(source, "populated", expected.count - hasAModuleOfNothing(source));
    }
}

TEST_F(Captures, ofFirmwareDumpsLoseNothingInThePipeButLinesThatStraddleTwoReads)
{
    size_t straddling = 0;
    for (CaptureSource const& source : sourcesOf("dmidecode", ".txt")) {
        SCOPED_TRACE(source.path);
        std::string const text = contentsOf(source.path);
        DumpedModules const expected = testkit::readDump(text);
        machine.file("/proc/meminfo", "MemTotal: 0 kB\nMemFree: 5 kB\n");
        machine.tool("/usr/sbin/dmidecode", "cat " + source.path);

        uint64_t total = 1;
        uint64_t free = 2;
        CapturedTrace trace;
        EXPECT_TRUE(sysinfo::LinuxSystemInformation().getMemoryInfo(total, free));
        testkit::TracedDump const dump(trace);
        EXPECT_EQ(dump.sections, headersIn(text)) << "the output did not arrive as a whole";
        size_t lostWithoutSize = 0;
        for (std::string const& line : dump.straddling)
            lostWithoutSize += !testkit::sizeIn(line);
        EXPECT_EQ(total + dump.lost(), expected.sum);
        EXPECT_EQ(free, 5U);
        EXPECT_EQ(dump.sizeLines, expected.count + expected.withoutSize);
        EXPECT_EQ(dump.withoutSize + lostWithoutSize, expected.withoutSize);
        EXPECT_EQ(trace.text(4),
            "dmidecode ran successfully, found: " + std::to_string(expected.sum - dump.lost())
                + "\n");
        straddling += dump.straddling.size();
    }
    // Among that many some do; the few recorded files may be lucky.
    if (std::getenv("DOVREL_CAPTURES")) {
        EXPECT_GT(straddling, 0U);
    }
}
