// The parser alone. PiecewiseBuffer splits the dump at each place; a pipe splits it at random.

#include "sysinfo/parsers/dmidecode_output.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/PiecewiseBuffer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using testkit::PiecewiseBuffer;

namespace {

constexpr uint64_t MB = uint64_t{1} << 10;
constexpr uint64_t GB = uint64_t{1} << 20;
constexpr uint64_t TB = uint64_t{1} << 30;

/** Records its calls. */
class RecordingListener final : public sysinfo::FirmwareDumpListener {
public:
    void line(std::string const& line) override { calls.push_back("line " + line); }
    void sectionLeft(std::string const& left) override { calls.push_back("left " + left); }
    void seekFailed() override { calls.push_back("seek failed"); }
    void sizeLine(std::string const& label, uint64_t number, std::string const& unit) override
    {
        calls.push_back("size '" + label + "' " + std::to_string(number) + " '" + unit + "'");
    }
    void sizeLineIgnored(std::string const& line) override { calls.push_back("ignored " + line); }

    std::vector<std::string> calls;
};

/** Uses the empty functions of the interface. */
class EmptyListener final : public sysinfo::FirmwareDumpListener { };

uint64_t sumOf(std::string const& text)
{
    std::istringstream stream(text);
    EmptyListener listener;
    return sysinfo::sumOfModules(stream, listener);
}

std::vector<std::string> callsFor(std::string const& text)
{
    std::istringstream stream(text);
    RecordingListener listener;
    sysinfo::sumOfModules(stream, listener);
    return listener.calls;
}

std::string module(std::string const& size)
{
    return "Handle 0x0011, DMI type 17, 27 bytes\nMemory Device\n\tArray Handle: 0x0010\n"
           "\tSize: "
        + size + "\n\tForm Factor: DIMM\n\tLocator: DIMM_A1\n\n";
}

}

TEST(FirmwareDump, addsUpModulesOfMixedUnits)
{
    EXPECT_EQ(sumOf(module("4096 MB") + module("4 GB")), 8388608U);
    EXPECT_EQ(sumOf(module("512 kB")), 512U);
    EXPECT_EQ(sumOf(module("2 TB") + module("1 kB")), 2 * TB + 1);
    EXPECT_EQ(sumOf(module("0 TB")), 0U);
}

TEST(FirmwareDump, ignoresSocketsWithoutAModule)
{
    EXPECT_EQ(sumOf(module("No Module Installed") + module("1 GB") + module("Unknown")), GB);
}

TEST(FirmwareDump, countsAnUnknownUnitAsKiBKept)
{
    // dmidecode 3.7 prints binary units.
    EXPECT_EQ(sumOf(module("16 GiB")), 16U);
    EXPECT_EQ(sumOf(module("512 Kbyte")), 512U);
    EXPECT_EQ(sumOf(module("1 gb")), 1U);
    EXPECT_EQ(sumOf(module("1 GBytes")), 1U);
}

TEST(FirmwareDump, ignoresMemoryModuleInformationSections)
{
    // Structures of type 6: alone, and beside one of type 17 that contradicts them.
    std::string const old = "Memory Module Information\n\tSocket Designation: DIMM0\n"
                            "\tInstalled Size: 536870912 MB (Double-bank Connection)\n"
                            "\tEnabled Size: 512 MB (Double-bank Connection)\n\n";
    EXPECT_EQ(sumOf(old), 0U);
    EXPECT_EQ(sumOf(old + module("1 GB")), GB);
}

TEST(FirmwareDump, returnsASumOfExactlyTwoToThe32)
{
    std::string text;
    for (int i = 0; i < 32; ++i)
        text += module("128 GB");
    EXPECT_EQ(sumOf(text), 4294967296U);
}

TEST(FirmwareDump, countsAFlashDeviceAsAModuleKept)
{
    EXPECT_EQ(sumOf(module("16 GB") + module("4 MB")), 16 * GB + 4 * MB);
}

TEST(FirmwareDump, acceptsOnlyTheExactHeaderMemoryDevice)
{
    std::string const size = "\n\tSize: 1 GB\n";
    EXPECT_EQ(sumOf("Memory Device" + size), GB);
    for (char const* other : {"Memory Device ", "Memory Device\r", "Memory device", "Memory Module",
             "Memory Device Mapped Address", "Cache Information", "\tMemory Device"})
        EXPECT_EQ(sumOf(other + size), 0U) << other;
}

TEST(FirmwareDump, ignoresAnIndentedHeaderKept)
{
    // Versions before 2.8 indent the header below the handle.
    EXPECT_EQ(
        sumOf("Handle 0x0023\n\tDMI type 17, 27 bytes.\n\tMemory Device\n\t\tSize: 512 MB\n"), 0U);
}

TEST(FirmwareDump, ignoresSizesOutsideMemoryDeviceSections)
{
    EXPECT_EQ(sumOf("\tSize: 1 GB\n" + module("2 GB") + "Cache Information\n\tSize: 4 GB\n"
                  + "\tInstalled Size: 512 kB\n" + module("8 GB")),
        10 * GB);
}

TEST(FirmwareDump, continuesASectionAfterABlankLine)
{
    EXPECT_EQ(sumOf("Memory Device\n\n\n\tSize: 1 GB\n\n \n\tSize: 2 GB\n"), 3 * GB);
}

TEST(FirmwareDump, endsASectionAtALineThatBeginsWithAFormFeedKept)
{
    EXPECT_EQ(sumOf("Memory Device\n\fX\n\tSize: 1 GB\n"), 0U);
    for (char const* indented : {" X", "\tX", "\rX", "\vX"})
        EXPECT_EQ(sumOf(std::string("Memory Device\n") + indented + "\n\vSize: 1 GB\n"), GB);
}

TEST(FirmwareDump, ignoresSizesWithALabelOfTwoWords)
{
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 8 GB\n\tNon-Volatile Size: None\n"
                    "\tVolatile Size: 8 GB\n\tCache Size: 1 GB\n\tLogical Size: 2 GB\n"),
        8 * GB);
}

TEST(FirmwareDump, countsEveryOneWordLabelOnALineWithSizeKept)
{
    EXPECT_EQ(sumOf("Memory Device\n\tVolatileSize: 1 GB\n\tX 2 GB Size:\n"), 3 * GB);
}

TEST(FirmwareDump, readsASecondSizeOnTheSameLineKept)
{
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 1 GB Size: 2 GB\n"), 3 * GB);
}

TEST(FirmwareDump, ignoresTextAfterTheUnit)
{
    EXPECT_EQ(sumOf(module("1 GB (Double-bank Connection)") + module("2 GB <BAD INDEX>")), 3 * GB);
}

TEST(FirmwareDump, acceptsAUnitWithoutABlankBeforeIt)
{
    EXPECT_EQ(sumOf(module("8192MB")), 8 * GB);
}

TEST(FirmwareDump, readsAMissingUnitFromTheNextLineKept)
{
    EXPECT_EQ(sumOf(module("8192") + module("1 GB")), 8192 + GB);
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 3\n\tMB: x\n\tSize: 1 GB\n"), 3 + GB);
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 3\n\tMB\n\tSize: 1 GB\n"), 3 * MB + GB);
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 3\n"), 0U);
}

TEST(FirmwareDump, ignoresAnEmptySize)
{
    EXPECT_EQ(sumOf(module("") + module("1 GB")), GB);
    EXPECT_EQ(sumOf(module(" ") + module("1 GB")), GB);
    EXPECT_EQ(sumOf("Memory Device\n\tSize:\n\tForm Factor: DIMM\n\tSize: 1 GB\n"), GB);
    EXPECT_EQ(sumOf("Memory Device\n\tSize:"), 0U);
    EXPECT_EQ(sumOf("Memory Device\n\tSize:\nCache Information\n\tSize: 1 GB\n"), 0U);
}

TEST(FirmwareDump, continuesAfterASizeThatIsNotANumber)
{
    EXPECT_EQ(sumOf("Memory Device\n\tSize: No Module Installed\n\tSize: 1 GB\n"), GB);
    EXPECT_EQ(sumOf("Memory Device\n\tSize: + GB\n\tSize: 1 GB\n"), GB);
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 0x10 GB\n\tSize: 1 GB\n"), GB);
}

TEST(FirmwareDump, ignoresNumbersAbove64Bits)
{
    EXPECT_EQ(sumOf(module("18446744073709551616 kB") + module("1 GB")), GB);
    EXPECT_EQ(sumOf(module("18446744073709551615 kB")), UINT64_MAX);
}

TEST(FirmwareDump, returnsASumAbove32Bits)
{
    std::string text;
    for (int i = 0; i < 128; ++i)
        text += module("64 GB");
    EXPECT_EQ(sumOf(text), 8 * TB);
}

TEST(FirmwareDump, readsTheLastLineWithoutANewline)
{
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 2 GB"), 2 * GB);
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 2 G"), 2U);
    EXPECT_EQ(sumOf("Memory Device\n\tSize: No Module Inst"), 0U);
}

TEST(FirmwareDump, acceptsCarriageReturnsAtLineEnds)
{
    EXPECT_EQ(sumOf("Memory Device\n\tSize: 2 GB\r\n\tSize: No Module Installed\r\n\tSize: 1 GB"),
        3 * GB);
}

TEST(FirmwareDump, ignoresBytesThatAreNotText)
{
    using namespace std::string_literals;
    std::string const bytes = "\tLocator: \0\xff\x1b[!p\xc3(\n"s;
    EXPECT_EQ(sumOf("Memory Device\n" + bytes + "\tSize: 1 GB\n" + bytes), GB);
}

TEST(FirmwareDump, readsALineOfOneMebibyte)
{
    std::string const filling(1024 * 1024, 'x');
    EXPECT_EQ(sumOf("Memory Device\n\t" + filling + "\n\tSize: 1 GB\n"), GB);
    EXPECT_EQ(sumOf("Memory Device\n\t" + filling + "Size: 2 GB\n\tSize: 1 GB\n"), 3 * GB);
    EXPECT_EQ(sumOf(filling + "\nMemory Device\n\tSize: 1 GB\n"), GB);
}

TEST(FirmwareDump, returnsZeroForAnEmptyDump)
{
    EXPECT_EQ(sumOf(""), 0U);
    EXPECT_EQ(sumOf("\n\n\n"), 0U);
    EXPECT_EQ(sumOf("# No SMBIOS nor DMI entry point found, sorry.\n"), 0U);
}

TEST(FirmwareDump, readsTheRecordedFiles)
{
    auto const recorded = [](char const* file) {
        return sumOf(testkit::contentsOf(std::string("/testkit/recorded/dmidecode/") + file));
    };
    EXPECT_EQ(recorded("fake-good.txt"), 24 * GB);
    // Has flash, a size in kB, one in binary units and one without a unit.
    EXPECT_EQ(recorded("fake-odd.txt"), 21 * GB + TB + 512 * MB + 4096 + 16 + 8192);
    EXPECT_EQ(recorded("fake-broken.txt"), 8 * GB + 4);
}

TEST(FirmwareDump, callsItsListenerInOrder)
{
    EXPECT_EQ(callsFor("# dump\nMemory Device\n\tSize: 4 GB\n\n\tSize: No Module\nEnd\n"),
        (std::vector<std::string>{"line # dump", "left ", "line Memory Device", "left # dump",
            "line \tSize: 4 GB", "size 'Size:' 4 'GB'", "line ", "line ", "line \tSize: No Module",
            "size 'Size:' 0 ''", "ignored \tSize: No Module", "line End", "left Memory Device",
            "line "}));
}

TEST(FirmwareDump, losesOnlySizeLinesThatStraddleTwoReadsKept)
{
    std::string const text = module("1 GB") + module("No Module Installed") + module("2 GB")
        + "Cache Information\n\tInstalled Size: 512 kB\n" + module("4096 MB") + module("8 GB");
    std::vector<std::pair<std::string, uint64_t>> const sizes = {
        {"\tSize: 1 GB", GB},
        {"\tSize: No Module Installed", 0},
        {"\tSize: 2 GB", 2 * GB},
        {"\tSize: 4096 MB", 4 * GB},
        {"\tSize: 8 GB", 8 * GB},
    };
    for (size_t piece = 1; piece <= text.size(); ++piece) {
        uint64_t expected = 0;
        std::vector<std::string> lost;
        for (auto const& [line, size] : sizes) {
            size_t const begin = text.find(line + "\n");
            // The blank before the line need not be in the same piece.
            if ((begin + 1) / piece == (begin + line.size()) / piece)
                expected += size;
            else
                lost.push_back("ignored " + line);
        }

        PiecewiseBuffer buffer(text, piece);
        std::istream stream(&buffer);
        RecordingListener listener;
        EXPECT_EQ(sysinfo::sumOfModules(stream, listener), expected) << piece;
        std::vector<std::string> reportedAsLost;
        for (size_t i = 0; i + 2 < listener.calls.size(); ++i)
            if (listener.calls[i] == "seek failed") {
                EXPECT_EQ(listener.calls[i + 1], "size '' 0 ''");
                reportedAsLost.push_back(listener.calls[i + 2]);
            }
        EXPECT_EQ(reportedAsLost, lost) << piece;
    }
}

TEST(FirmwareDump, returnsTheSumReadBeforeTheStreamThrows)
{
    std::string const text = module("1 GB") + module("2 GB") + "Memory Device\n\tSize: 4 G";
    PiecewiseBuffer buffer(text, text.size(), PiecewiseBuffer::THROWS);
    std::istream stream(&buffer);
    EmptyListener listener;
    EXPECT_EQ(sysinfo::sumOfModules(stream, listener), 3 * GB);
}

TEST(FirmwareDump, returnsZeroForAStreamThatHasFailed)
{
    std::istringstream stream(module("1 GB"));
    stream.setstate(std::ios_base::failbit);
    RecordingListener listener;
    EXPECT_EQ(sysinfo::sumOfModules(stream, listener), 0U);
    EXPECT_TRUE(listener.calls.empty());
}
