// record and replay where ld.so(8) cannot load the object.

#include "app/exit_status.h"
#include "tests/app/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

using app_test::Folder;
using app_test::Outcome;
using app_test::Program;
using testing::HasSubstr;

namespace {

/** @return the end of a run in which the object is a file that ld.so(8) cannot load. */
Outcome runWithBrokenObject(std::vector<std::string> const& arguments, Folder const& folder)
{
    Program program(arguments);
    program.folder = folder.path();
    program.replaced[DOVREL_RECORDING_OBJECT] = folder.file("recording.so", "no object\n");
    return program.run();
}

}

TEST(Record, saysThatTheObjectCannotBePreloaded)
{
    Folder const folder;
    Outcome const outcome = runWithBrokenObject({"record", "machine.tar.gz"}, folder);

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_INTERNAL);
    EXPECT_THAT(outcome.err, HasSubstr("recording.so cannot be preloaded"));
    EXPECT_FALSE(exists(folder.path() / "machine.tar.gz"));
}

TEST(Record, saysThatTheProgramIsNotInstalledCompletely)
{
    Folder const folder;
    Folder const empty;
    std::filesystem::path const object = DOVREL_RECORDING_OBJECT;
    for (char const* const command : {"record", "replay"}) {
        Program program({command, folder.path() / "machine.tar.gz"});
        program.replaced[object.parent_path()] = empty.path();

        Outcome const outcome = program.run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_INTERNAL);
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: " + object.string()
                + ": No such file or directory; the program is not installed completely\n");
    }
}

TEST(Replay, startsOnceWhereTheObjectCannotBePreloaded)
{
    Folder const folder;
    Outcome const outcome = runWithBrokenObject({"replay", "machine.tar.gz"}, folder);

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_INTERNAL);
    EXPECT_THAT(outcome.err, HasSubstr("recording.so cannot be preloaded"));
}
