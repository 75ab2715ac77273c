// Calls of a process in which recording.so logs what is read.

#include "tests/app/Program.h"
#include "tests/support/commands.h"
#include "tests/support/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

namespace {

/** A run of `recorded_calls`. */
struct RecordedCalls {
    explicit RecordedCalls(std::string const& name)
    {
        app_test::Folder const folder;
        path = folder.file("file", "content\n");
        std::string const record = folder.path() / "record";
        EXPECT_TRUE(testkit::runs("mkdir " + record
            + " && LD_PRELOAD=" DOVREL_PRELOAD " DOVREL_QUERY=disks DOVREL_RECORD=" + record
            + " " DOVREL_RECORDED_CALLS " " + name + " " + path));
        if (std::filesystem::exists(record + "/log"))
            log = testkit::linesOf(testkit::contentsOf(record + "/log"));
    }

    std::string path;
    std::vector<std::string> log;
};

}

TEST(RecordedCalls, haveThePathOfADescriptorAndOfItsCopies)
{
    for (char const* const name : {"open", "dup2", "dup3"}) {
        RecordedCalls const calls(name);
        EXPECT_THAT(calls.log, Contains("disks answer sector " + calls.path + " ENOTTY")) << name;
    }
}

TEST(RecordedCalls, forgetThePathOfANumberThatIsAnotherFile)
{
    for (char const* const name : {"close", "fclose", "closedir", "dup2-over"}) {
        RecordedCalls const calls(name);
        EXPECT_THAT(calls.log, Not(testing::IsEmpty())) << name;
        EXPECT_THAT(calls.log, Each(Not(HasSubstr(" sector ")))) << name;
    }
}

TEST(RecordedCalls, haveThePathThatStatxLooksFor)
{
    RecordedCalls const calls("statx");
    EXPECT_THAT(calls.log, Contains("disks look " + calls.path));
}
