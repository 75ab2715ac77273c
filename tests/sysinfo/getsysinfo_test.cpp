// The library's own getsysinfo with fake firmware files. The processor is the real machine's.

#include "common/platform/getsysinfo.h"

#include "tests/support/Machine.h"

#include <cpuid.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <filesystem>
#include <string>

using testkit::machine;

namespace {

constexpr size_t LONGEST = DOVREL_GETSYSINFO_TEXT_SIZE - 1;

/** Calls getsysinfo, and checks that it writes nothing outside the three buffers. */
struct Identification {
    Identification()
    {
        char room[3][DOVREL_GETSYSINFO_TEXT_SIZE + 1];
        std::memset(room, '#', sizeof room);
        result = getsysinfo(room[0], room[1], room[2], &code);
        for (size_t i = 0; i < 3; ++i) {
            texts[i] = std::string(room[i], strnlen(room[i], DOVREL_GETSYSINFO_TEXT_SIZE));
            EXPECT_LE(texts[i].size(), LONGEST);
            EXPECT_EQ(room[i][DOVREL_GETSYSINFO_TEXT_SIZE], '#');
            EXPECT_EQ(std::string(
                          room[i] + texts[i].size(), DOVREL_GETSYSINFO_TEXT_SIZE - texts[i].size()),
                std::string(DOVREL_GETSYSINFO_TEXT_SIZE - texts[i].size(), '\0'));
        }
    }

    int result = 77;
    int code = 77;
    std::string texts[3];
};

void firmware(std::string const& file, std::string_view text)
{
    machine.file("/sys/class/dmi/id/" + file, text);
}

std::string vendorFrom(std::string_view text)
{
    firmware("sys_vendor", text);
    return Identification().texts[0];
}

}

TEST(Getsysinfo, returnsVendorProductAndVersionOfTheFirmware)
{
    firmware("sys_vendor", "A vendor\n");
    firmware("product_name", "A product\n");
    firmware("product_version", "1.0\n");
    firmware("bios_vendor", "Another\n");
    Identification const result;
    EXPECT_EQ(result.result, 0);
    EXPECT_EQ(result.texts[0], "A vendor");
    EXPECT_EQ(result.texts[1], "A product");
    EXPECT_EQ(result.texts[2], "1.0");
    EXPECT_GE(result.code, 0);
    EXPECT_LE(result.code, 11);
}

TEST(Getsysinfo, returnsEmptyStringsForMissingFiles)
{
    Identification const nothing;
    // Succeeds, as the processor reports a hypervisor without firmware files.
    EXPECT_EQ(nothing.result, 0);
    EXPECT_EQ(nothing.texts[0] + nothing.texts[1] + nothing.texts[2], "");
    firmware("product_name", "A product");
    Identification const product;
    EXPECT_EQ(product.texts[0] + product.texts[2], "");
    EXPECT_EQ(product.texts[1], "A product");
}

TEST(Getsysinfo, cutsAtFortySevenBytesOnACharactersBoundary)
{
    std::string const x(47, 'x');
    EXPECT_EQ(vendorFrom(x), x);
    EXPECT_EQ(vendorFrom(x + "y"), x);
    EXPECT_EQ(vendorFrom(std::string(46, 'x') + "\xC3\xA9"), std::string(46, 'x'));
    EXPECT_EQ(vendorFrom(std::string(45, 'x') + "\xC3\xA9z"), std::string(45, 'x') + "\xC3\xA9");
    for (size_t const before : {44, 45, 46})
        EXPECT_EQ(
            vendorFrom(std::string(before, 'x') + "\xF0\x9F\x98\x80"), std::string(before, 'x'));
    EXPECT_EQ(vendorFrom(std::string(43, 'x') + "\xF0\x9F\x98\x80"),
        std::string(43, 'x') + "\xF0\x9F\x98\x80");
    EXPECT_EQ(vendorFrom(std::string(100'000, 'x')), x);
}

TEST(Getsysinfo, trimsBlanksAtBothEnds)
{
    using namespace std::string_view_literals;
    EXPECT_EQ(vendorFrom("  To Be Filled By O.E.M.  \r\n"), "To Be Filled By O.E.M.");
    EXPECT_EQ(vendorFrom("\n"), "");
    EXPECT_EQ(vendorFrom(" \t "), "");
    EXPECT_EQ(vendorFrom(""), "");
    EXPECT_EQ(vendorFrom("a\nb\n"), "a\nb");
    EXPECT_EQ(vendorFrom("a\0b"sv), "a");
    EXPECT_EQ(vendorFrom("\0"sv), "");
    EXPECT_EQ(vendorFrom("a\xFF\xFE"), "a\xFF\xFE");
}

TEST(Getsysinfo, reportsAHypervisorIfTheProcessorDoes)
{
    constexpr unsigned HYPERVISOR_PRESENT = 1U << 31; // CPUID, leaf 1, ECX.
    unsigned a = 0;
    unsigned b = 0;
    unsigned c = 0;
    unsigned d = 0;
    bool const isPresent = ::__get_cpuid(1, &a, &b, &c, &d) != 0 && (c & HYPERVISOR_PRESENT) != 0;
    EXPECT_EQ(Identification().code != 0, isPresent);
}

TEST(Getsysinfo, returnsTheHypervisorThatTheFirmwareNames)
{
    firmware("sys_vendor", "innotek GmbH\n");
    firmware("product_name", "VirtualBox\n");
    EXPECT_EQ(Identification().code, 6);
    firmware("sys_vendor", "Microsoft Corporation\n");
    firmware("product_name", "Virtual Machine\n");
    EXPECT_EQ(Identification().code, 2);
    firmware("chassis_asset_tag", "7783-7084-3265-9085-8269-3286-77\n");
    EXPECT_EQ(Identification().code, 11);
    firmware("sys_vendor", "Xen\n");
    firmware("product_name", "HVM domU\n");
    firmware("product_version", "4.2.amazon\n");
    EXPECT_EQ(Identification().code, 10);
}

TEST(Getsysinfo, detectsTheHypervisorBeforeItCutsTheString)
{
    firmware("sys_vendor", "Parallels International GmbH with a very long name indeed.\n");
    firmware("product_name", "Parallels Virtual Platform\n");
    Identification const result;
    EXPECT_EQ(result.code, 7);
    EXPECT_EQ(result.texts[0].size(), LONGEST);
}

TEST(Getsysinfo, treatsUnreadableFilesAsMissing)
{
    firmware("product_name", "A product\n");
    machine.folder("/sys/class/dmi/id/sys_vendor");
    firmware("product_version", "secret\n");
    std::filesystem::permissions("/sys/class/dmi/id/product_version", std::filesystem::perms::none);
    Identification const result;
    EXPECT_EQ(result.result, 0);
    EXPECT_EQ(result.texts[0] + result.texts[2], "");
    EXPECT_EQ(result.texts[1], "A product");
}
