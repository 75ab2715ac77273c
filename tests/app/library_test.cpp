#include "app/exit_status.h"
#include "tests/app/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using app_test::Folder;
using app_test::Outcome;
using app_test::Program;
using nlohmann::json;
using testing::HasSubstr;

namespace {

Outcome runCpus(std::string const& library, std::filesystem::path const& folder = "/")
{
    Program program({"cpus", "--no-usage", "--json", "--library", library});
    program.folder = folder;
    // Without RTLD_DEEPBIND, which the sanitizer refuses, a second build shares the first one's
    // globals, and the sanitizer would report that.
    program.environment["ASAN_OPTIONS"] = "detect_odr_violation=0";
    return program.run();
}

}

TEST(OtherLibrary, ofTheSameFileTellsTheSame)
{
    Outcome const linked = Program({"cpus", "--no-usage", "--json"}).run();
    Outcome const loaded = runCpus(DOVREL_LIBRARY);

    EXPECT_EQ(loaded.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(loaded.err, "");
    EXPECT_EQ(json::parse(loaded.out), json::parse(linked.out));
}

TEST(OtherLibrary, mayBeACopyOfTheLinkedOneInTheWorkingFolder)
{
    Folder const folder;
    std::filesystem::copy_file(DOVREL_LIBRARY, folder.path() / "copy.so");

    Outcome const linked = Program({"cpus", "--no-usage", "--json"}).run();
    Outcome const loaded = runCpus("copy.so", folder.path());

    EXPECT_EQ(loaded.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(loaded.err, "");
    EXPECT_EQ(json::parse(loaded.out), json::parse(linked.out));
}

TEST(OtherLibrary, isTheOneThatIsAsked)
{
    Outcome const outcome = Program({"--library", DOVREL_OTHER_LIBRARY, "cpus", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(json::parse(outcome.out), json::parse(R"({ "processors": [
        { "index": 0, "current_mhz": 123, "max_mhz": 456, "usage_percent": 42.5 } ] })"));
    EXPECT_EQ(outcome.err, "records left: 0\n") << "written by the library when it is closed";
}

TEST(OtherLibrary, isNotClosedUnderThreadsThatAreStillInside)
{
    Program program({"--library", DOVREL_OTHER_LIBRARY, "cpus", "--json", "--max-wait", "1"});
    program.environment["OTHER_CPU_IS_IDLE"] = "yes";

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_TRUE(json::parse(outcome.out).at("processors").at(0).at("usage_percent").is_null());
    EXPECT_EQ(outcome.err, "");
}

TEST(OtherLibrary, tracesThroughItsOwnFunctions)
{
    Folder const folder;
    std::filesystem::copy_file(DOVREL_LIBRARY, folder.path() / "copy.so");
    Program program(
        {"cpus", "--no-usage", "--trace", "3", "--library", (folder.path() / "copy.so").string()});
    program.environment["ASAN_OPTIONS"] = "detect_odr_violation=0";

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(outcome.err, HasSubstr("trace 3: Found CPU: cpu0\n"));
}

TEST(OtherLibrary, thatIsMissingIsNamed)
{
    Outcome const outcome = runCpus("/nowhere/at/all.so");

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_LIBRARY);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("/nowhere/at/all.so"));
    EXPECT_THAT(outcome.err, HasSubstr("No such file"));
}

TEST(OtherLibrary, mustBeALibrary)
{
    Folder const folder;
    Outcome const outcome = runCpus(folder.file("text.so", "This is no library.\n").string());

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_LIBRARY);
    EXPECT_THAT(outcome.err, HasSubstr("text.so"));
}

TEST(OtherLibrary, mustHaveThePluginEntries)
{
    Outcome const outcome = runCpus(DOVREL_LIBRARY_WITHOUT_ENTRIES);

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_LIBRARY);
    EXPECT_THAT(outcome.err, HasSubstr("has no entry 'libclose'"));
}
