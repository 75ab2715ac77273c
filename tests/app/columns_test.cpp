#include "app/exit_status.h"
#include "tests/app/Program.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using app::Subject;
using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::tablesOf;
using testing::Contains;
using testing::StartsWith;

namespace {

std::string headingsOf(Subject subject, std::string const& columns)
{
    app::TableOptions options;
    options.columns = columns;
    return tablesOf(knownMachine({subject}), options).front();
}

}

TEST(Columns, areTheUsualOnesWithoutAChoice)
{
    EXPECT_EQ(headingsOf(Subject::PROCESSORS, ""), "CPU  MIN-MHZ   MHZ  MAX-MHZ    LOAD    NOTE");
}

TEST(Columns, areThoseThatWereChosenInTheirOrder)
{
    EXPECT_EQ(headingsOf(Subject::DISKS, "SIZE,NAME"), "   SIZE  NAME");
    EXPECT_EQ(headingsOf(Subject::DISKS, "size,Name"), "   SIZE  NAME");
}

TEST(Columns, areAddedToTheUsualOnes)
{
    EXPECT_EQ(headingsOf(Subject::PROCESSORS, "+socket,CORE"),
        "CPU  MIN-MHZ   MHZ  MAX-MHZ    LOAD    NOTE  SOCKET  CORE");
}

TEST(Columns, areNeverLeftOutWhereTheyWereChosen)
{
    app::TableOptions options;
    options.layout = app_test::terminal(20);
    options.columns = "+MODEL,DEV";

    EXPECT_THAT(tablesOf(knownMachine({Subject::DISKS}), options).front(),
        testing::MatchesRegex("NAME +SIZE +MODEL +DEV"));
}

TEST(Columns, thatAreUnknownAreRefused)
{
    for (Subject const subject :
        {Subject::PROCESSORS, Subject::DISKS, Subject::MOUNTS, Subject::NETWORKS})
        for (char const* const columns : {"NOPE", "NOTE,nope", "+NOPE", ",NOTE"})
            EXPECT_THROW(app::checkColumns({subject}, columns), app::ColumnError) << columns;
    EXPECT_NO_THROW(app::checkColumns({Subject::MOUNTS}, "inodes,IUSE"));
}

TEST(Columns, haveAMeaningEach)
{
    for (Subject const subject :
        {Subject::PROCESSORS, Subject::DISKS, Subject::MOUNTS, Subject::NETWORKS}) {
        std::ostringstream out;
        app::writeColumns(subject, {}, out);
        auto const lines = linesOf(out.str());

        EXPECT_THAT(lines.front(), StartsWith("COLUMN "));
        for (std::string const& line : lines)
            EXPECT_THAT(line, testing::MatchesRegex("[A-Z-]+ +[A-Za-z].*"));
        EXPECT_THAT(lines, Contains(testing::MatchesRegex("NOTE +the numbers of notes")));
    }
}

TEST(ColumnOption, showsTheChosenColumnsOfTheRealMachine)
{
    Outcome const outcome = Program({"cpus", "--no-usage", "-o", "core,CPU"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(linesOf(outcome.out).front(), "CORE  CPU");
}

TEST(ColumnOption, isCheckedBeforeAnythingIsRead)
{
    // A reading would leave a trace.
    Outcome const outcome = Program({"disks", "-o", "NAME,nope", "--trace", "5"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_USAGE);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "dovrel-sysinfo: unknown column 'NOPE'; --list-columns lists them\n");
}

TEST(ColumnOption, listsTheColumns)
{
    Outcome const outcome = Program({"mounts", "--list-columns", "--trace", "5"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "") << "nothing is read";
    EXPECT_THAT(linesOf(outcome.out), Contains("MOUNTPOINT  the place where it is mounted"));
    EXPECT_THAT(linesOf(Program({"mounts", "--list-columns", "--no-headings"}).run().out).front(),
        StartsWith("MOUNTPOINT "));
}
