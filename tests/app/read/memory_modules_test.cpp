#include "app/read/Reader.h"
#include "app/read/memory_modules.h"
#include "tests/app/read/FakeCalls.h"
#include "tests/support/Machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

using app::Machine;
using app::MemoryModule;
using app_read_test::FakeCalls;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testkit::machine;

namespace {

constexpr uint64_t GIB = uint64_t{1} << 30;

std::optional<uint64_t> sizeOf(std::string const& size)
{
    auto const modules = app::parseModules("Memory Device\n\tSize: " + size + "\n");
    EXPECT_THAT(modules, SizeIs(1));
    return modules.empty() ? std::nullopt : modules.front().bytes;
}

Machine query(std::chrono::milliseconds limit = std::chrono::seconds(20))
{
    Machine found;
    found.memory.emplace();
    app::ModuleQuery modules(limit);
    modules.finish(found);
    EXPECT_THAT(found.problems, IsEmpty());
    return found;
}

/** The reason why the modules are unavailable. */
std::string reasonOf(Machine const& found)
{
    EXPECT_FALSE(found.memory->modules);
    EXPECT_THAT(found.unavailable, SizeIs(1));
    return found.unavailable.empty() ? "" : found.unavailable.front().reason;
}

std::string reasonOfTool(std::string const& script)
{
    FakeCalls const calls;
    machine.tool("/usr/sbin/dmidecode", script);
    return reasonOf(query());
}

}

TEST(MemoryModules, areReadFromDmidecode32)
{
    auto const modules = app::parseModules("# dmidecode 3.2\nHandle 0x0011, DMI type 17, 40 bytes\n"
                                           "Memory Device\n\tArray Handle: 0x0010\n"
                                           "\tSize: 16384 MB\n\tForm Factor: DIMM\n"
                                           "\tLocator: DIMM_A1\n\tBank Locator: P0\n\tType: DDR4\n"
                                           "\tType Detail: Synchronous\n\tSpeed: 2666 MT/s\n"
                                           "\tConfigured Memory Speed: 2400 MT/s\n\n");
    ASSERT_THAT(modules, SizeIs(1));
    EXPECT_EQ(modules[0].slot, "DIMM_A1");
    EXPECT_EQ(modules[0].bytes, 16 * GIB);
    EXPECT_EQ(modules[0].type, "DDR4");
    EXPECT_EQ(modules[0].speed, "2666 MT/s");
}

TEST(MemoryModules, areReadFromDmidecode22WhichIndentsTheHeadings)
{
    auto const modules = app::parseModules("Handle 0x1100\n\tDMI type 17, 27 bytes.\n"
                                           "\tMemory Device\n\t\tSize: 512 MB\n\t\tLocator: A\n"
                                           "Handle 0x1300\n\tDMI type 19, 15 bytes.\n"
                                           "\tMemory Array Mapped Address\n\t\tSize: 1 GB\n");
    ASSERT_THAT(modules, SizeIs(1));
    EXPECT_EQ(modules[0].bytes, GIB / 2);
    EXPECT_EQ(modules[0].slot, "A");
}

TEST(MemoryModules, haveSizesInTheUnitsOfAllVersions)
{
    EXPECT_EQ(sizeOf("512 bytes"), 512U);
    EXPECT_EQ(sizeOf("512 kB"), 512U << 10);
    EXPECT_EQ(sizeOf("512 KiB"), 512U << 10);
    EXPECT_EQ(sizeOf("512 MiB"), 512U << 20);
    EXPECT_EQ(sizeOf("16 GB"), 16 * GIB);
    EXPECT_EQ(sizeOf("16 GiB"), 16 * GIB);
    EXPECT_EQ(sizeOf("1 TB"), 1024 * GIB);
}

TEST(MemoryModules, haveAnUnknownSizeWhereItIsNone)
{
    for (char const* const size : {"Unknown", "5 apples", "5 B", "5", "", "99999999999 TB"})
        EXPECT_EQ(sizeOf(size), std::nullopt) << size;
}

TEST(MemoryModules, haveEmptySlots)
{
    auto const modules = app::parseModules("Memory Device\n\tSize: No Module Installed\n"
                                           "\tLocator: B2\n\tType: Unknown\n\tSpeed: Unknown\n");
    ASSERT_THAT(modules, SizeIs(1));
    EXPECT_EQ(modules[0].bytes, 0U);
    EXPECT_EQ(modules[0].slot, "B2");
    EXPECT_EQ(modules[0].type, std::nullopt);
    EXPECT_EQ(modules[0].speed, std::nullopt);
}

TEST(MemoryModules, haveNeitherTypeNorSpeedWhereTheFirmwareHasAFiller)
{
    for (char const* const filler : {"Unknown", "None", "Not Specified", "<OUT OF SPEC>", ""}) {
        auto const modules =
            app::parseModules(std::string("Memory Device\n\tType: ") + filler + "\n");
        EXPECT_EQ(modules.at(0).type, std::nullopt) << filler;
    }
}

TEST(MemoryModules, endAtABlankLine)
{
    auto const modules = app::parseModules("Memory Device\n\tSize: 1 GB\n\nOther\n\tSize: 2 GB\n");
    EXPECT_EQ(modules.at(0).bytes, GIB);
}

TEST(ModuleQuery, readsTheOutputOfTheTool)
{
    FakeCalls const calls;
    machine.tool("/usr/sbin/dmidecode",
        "[ \"$*\" = '-t 17' ] && [ \"$LC_ALL\" = C ] && printf 'Memory Device\\n\\tSize: 1 GB\\n'");
    Machine const found = query();
    ASSERT_TRUE(found.memory->modules);
    EXPECT_THAT(*found.memory->modules, SizeIs(1));
    EXPECT_THAT(found.unavailable, IsEmpty());
}

TEST(ModuleQuery, findsTheToolThoughThePathHasNoSystemFolders)
{
    FakeCalls const calls;
    std::string const path = std::getenv("PATH");
    setenv("PATH", "/usr/bin:/bin", 1);
    machine.tool("/usr/sbin/dmidecode", "printf 'Memory Device\\n\\tSize: 1 GB\\n'");
    EXPECT_TRUE(query().memory->modules);
    setenv("PATH", path.c_str(), 1);
}

TEST(ModuleQuery, needsRoot)
{
    FakeCalls calls;
    calls.user = 1000;
    machine.tool("/usr/sbin/dmidecode", "echo x >/tmp/was-run");
    EXPECT_EQ(reasonOf(query()), "dmidecode needs root");
    EXPECT_NE(access("/tmp/was-run", F_OK), 0);
}

TEST(ModuleQuery, reportsAToolThatIsNotInstalled)
{
    FakeCalls const calls;
    EXPECT_EQ(reasonOf(query()), "dmidecode is not installed");
}

TEST(ModuleQuery, reportsAToolThatCannotBeExecuted)
{
    FakeCalls const calls;
    machine.file("/usr/sbin/dmidecode", "#!/bin/sh\n"); // Nobody may execute it.
    EXPECT_EQ(reasonOf(query()), "dmidecode cannot be executed");
}

TEST(ModuleQuery, reportsAToolThatHangs)
{
    FakeCalls const calls;
    machine.tool("/usr/sbin/dmidecode", "exec sleep 1000");
    EXPECT_EQ(reasonOf(query(std::chrono::milliseconds(300))), "dmidecode did not end in time");
}

TEST(ModuleQuery, reportsAToolThatFails)
{
    EXPECT_EQ(reasonOfTool("echo /dev/mem: Permission denied >&2; echo more >&2; exit 1"),
        "dmidecode failed: /dev/mem: Permission denied");
    EXPECT_EQ(
        reasonOfTool("printf '\\n a\\033[31m\\377b\\n' >&2; exit 1"), "dmidecode failed: a?[31m?b");
    EXPECT_EQ(reasonOfTool("printf %0200000d 0 >&2; exit 1"),
        "dmidecode failed: " + std::string(120, '0') + "...");
    EXPECT_EQ(reasonOfTool("kill -9 $$"), "dmidecode failed");
}

TEST(ModuleQuery, reportsAToolThatFailsBehindItsFirstModules)
{
    FakeCalls const calls;
    machine.tool("/usr/sbin/dmidecode",
        "printf 'Memory Device\\n\\tSize: 1 GB\\n'; echo broken >&2; kill -9 $$");
    Machine const found = query();
    ASSERT_TRUE(found.memory->modules);
    EXPECT_THAT(*found.memory->modules, SizeIs(1));
    ASSERT_THAT(found.unavailable, SizeIs(1));
    EXPECT_EQ(found.unavailable.front().fact, "whether these are all memory modules");
    EXPECT_EQ(found.unavailable.front().reason, "dmidecode failed: broken");
}

TEST(ModuleQuery, blamesNoFirmwareForTheOutputOfAnotherTool)
{
    EXPECT_EQ(reasonOfTool("echo hello"), "dmidecode printed none");
}

TEST(ModuleQuery, reportsFirmwareWithoutATable)
{
    EXPECT_EQ(reasonOfTool("echo '# No SMBIOS nor DMI entry point found, sorry.'"),
        "the firmware has no table of them");
}

TEST(ModuleQuery, reportsFirmwareThatListsNone)
{
    EXPECT_EQ(reasonOfTool("echo '# dmidecode 3.2'"), "the firmware lists none");
}
