#include "app/exit_status.h"
#include "app/write/display.h"
#include "tests/app/Program.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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
    EXPECT_EQ(headingsOf(Subject::DISKS, " SIZE , Name\t"), "   SIZE  NAME")
        << "blanks around them";
}

TEST(Columns, areAddedToTheUsualOnes)
{
    EXPECT_EQ(headingsOf(Subject::PROCESSORS, "+socket,CORE"),
        "CPU  MIN-MHZ   MHZ  MAX-MHZ    LOAD    NOTE  SOCKET  CORE");
    EXPECT_EQ(headingsOf(Subject::PROCESSORS, " + socket"),
        "CPU  MIN-MHZ   MHZ  MAX-MHZ    LOAD    NOTE  SOCKET");
    EXPECT_EQ(
        headingsOf(Subject::PROCESSORS, "+LOAD"), "CPU  MIN-MHZ   MHZ  MAX-MHZ    LOAD    NOTE")
        << "once";
}

TEST(Columns, haveADashForUnknownAddressesAndNumbers)
{
    app::Machine machine = knownMachine({Subject::NETWORKS, Subject::DISKS});
    machine.networks->adapters = {app_test::adapterOf("eth0", {}), app_test::adapterOf("eth1", {})};
    machine.networks->adapters.back().addresses.reset();
    machine.disks->resize(1);
    machine.disks->front().device.clear();
    app::TableOptions options;
    options.columns = "NAME,ADDRESS,SCOPE";
    EXPECT_THAT(tablesOf(
                    [&] {
                        app::Machine networks = machine;
                        networks.disks.reset();
                        return networks;
                    }(),
                    options),
        testing::IsSupersetOf({"eth0  none", "eth1  -        -"}));
    machine.networks.reset();
    options.columns = "DEV";
    EXPECT_THAT(tablesOf(machine, options), testing::IsSupersetOf({"DEV", "-"}));
}

TEST(Columns, areNeverLeftOutWhereTheyWereChosen)
{
    app::TableOptions options;
    options.layout = app_test::terminal(31);
    options.columns = "+MODEL,DEV";

    EXPECT_THAT(tablesOf(knownMachine({Subject::DISKS}), options).front(),
        testing::MatchesRegex("NAME +SIZE +MODEL +DEV"));
    options.layout = app_test::terminal(20);
    EXPECT_THAT(tablesOf(knownMachine({Subject::DISKS}), options),
        testing::IsSupersetOf({"NAME: sda", "SIZE: 1.0 TiB", "MODEL: MODEL_1"}))
        << "as lines where a table is too wide";
}

TEST(Columns, ofAnyChoiceFitATerminalOfAnyWidth)
{
    for (Subject const subject :
        {Subject::PROCESSORS, Subject::DISKS, Subject::MOUNTS, Subject::NETWORKS}) {
        std::ostringstream list;
        app::Layout layout;
        layout.headings = false;
        app::writeColumns(subject, layout, list);
        std::string all;
        for (std::string const& line : linesOf(list.str()))
            all += line.substr(0, line.find(' ')) + ",";
        for (char const* const columns : {"", all.c_str()})
            for (size_t width = 1; width <= 120; ++width) {
                app::TableOptions options;
                options.layout = app_test::terminal(width);
                options.columns = columns;
                constexpr size_t NARROWEST = 14; // "Left out: X", and a label.
                for (std::string const& line : tablesOf(knownMachine({subject}), options))
                    EXPECT_LE(app::displayWidth(line), std::max(width, NARROWEST)) << line;
            }
    }
}

TEST(Columns, showMountPointsWithoutTheTableOfMounts)
{
    app::TableOptions options;
    options.columns = "NAME,MOUNTPOINTS";
    app::Machine machine = knownMachine({Subject::DISKS, Subject::MOUNTS});
    machine.disks = {app_test::diskOf("sda1")};

    EXPECT_THAT(
        tablesOf(machine, options), testing::ElementsAre("NAME  MOUNTPOINTS", "sda1  /, /odd?[2J"));
}

TEST(Columns, nameTheDevicesBeneathAsTheFirstColumnDoes)
{
    app::TableOptions options;
    options.columns = "NAME,ON";
    app::Machine machine = knownMachine({Subject::DISKS});
    app::Disk crypt = app_test::diskOf("dm-0");
    crypt.type = app::Disk::ENCRYPTED;
    crypt.label = "luks";
    app::Disk volume = app_test::diskOf("dm-1");
    volume.type = app::Disk::LOGICAL_VOLUME;
    volume.slaves = {"dm-0", "gone"};
    machine.disks = {crypt, volume};

    EXPECT_THAT(
        tablesOf(machine, options), testing::ElementsAre("NAME  ON", "luks", "dm-1  luks, gone"));
}

TEST(Columns, thatAreUnknownAreRefused)
{
    for (Subject const subject :
        {Subject::PROCESSORS, Subject::DISKS, Subject::MOUNTS, Subject::NETWORKS})
        for (char const* const columns : {"NOPE", "NOTE,nope", "+NOPE", ",NOTE", "NOTE, ,CPU"})
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

TEST(ColumnOption, readsTheMountsForTheirColumn)
{
    Outcome const outcome = Program({"disks", "-o", "name, mountpoints"}).run();

    EXPECT_THAT(linesOf(outcome.out), Contains(testing::MatchesRegex("NAME +MOUNTPOINTS")));
    EXPECT_THAT(outcome.out, testing::Not(testing::HasSubstr(" -\n"))) << "unknown";
}

TEST(ColumnOption, isRefusedWithJson)
{
    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"disks", "-o", "NAME", "--json"},
            {"--json", "mounts", "--list-columns"}}) {
        Outcome const outcome = Program(arguments).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_USAGE);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(linesOf(outcome.err),
            Contains("dovrel-sysinfo: --json has all facts: leave out -o and --list-columns"));
    }
    EXPECT_EQ(
        Program({"disks", "-o", "NAME", "--json", "--help"}).run().status, app::EXIT_STATUS_OK);
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

TEST(Columns, haveADashForTheShareOfInodesThatAreUnknownOrDoNotFit)
{
    app::Machine machine = knownMachine({Subject::MOUNTS});
    machine.mounts->resize(1);
    app::Mount& mount = machine.mounts->front();
    app::TableOptions options;
    options.columns = "INODES,IUSE";
    auto const row = [&] { return tablesOf(machine, options).at(1); };

    EXPECT_EQ(row(), "     -     -");
    mount.inodes = 10;
    EXPECT_EQ(row(), "    10     -");
    mount.freeInodes = 4;
    EXPECT_EQ(row(), "    10  60.0 %");
    mount.freeInodes = 11;
    EXPECT_EQ(row(), "    10     -");
}
