#include "app/write/notes.h"
#include "tests/app/Program.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using app::libraryText;
using app::LibraryValue;
using app::Machine;
using app::Notes;
using app::Subject;
using app_test::knownMachine;
using app_test::linesOf;
using app_test::mountOf;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint64_t GIB = 1ULL << 30;

using Texts = std::vector<std::string>;

/** Two disks and a mount of which the library reports something else. */
Machine differingMachine()
{
    Machine machine = knownMachine({Subject::DISKS, Subject::MOUNTS});
    machine.differences = {{Subject::DISKS, "sda", "size_bytes", uint64_t{2 * GIB}, "wrong unit"},
        {Subject::MOUNTS, "/", "disks", Texts(), "not found"},
        {Subject::DISKS, "sda", "partitions", uint64_t{3}, "miscounted"},
        {Subject::DISKS, "sdb", "size_bytes", uint64_t{4 * GIB}, "wrong unit"},
        {Subject::DISKS, "sdb", "", std::nullopt, "left\x1Bout"}};
    return machine;
}

Texts notesOf(Machine const& machine, Subject subject, app::Layout const& layout = {})
{
    std::ostringstream out;
    Notes(machine).write(subject, layout, out);
    return linesOf(out.str());
}

}

TEST(Notes, numberTheDifferencesOfEachSubject)
{
    Machine const machine = differingMachine();
    Notes const notes(machine);

    EXPECT_EQ(notes.marks(Subject::DISKS, "sda"), "1 2");
    EXPECT_EQ(notes.marks(Subject::DISKS, "sdb"), "1 3");
    EXPECT_EQ(notes.marks(Subject::DISKS, "sdc"), "");
    EXPECT_EQ(notes.marks(Subject::MOUNTS, "/"), "1");
}

TEST(Notes, shareANumberWhereFactAndReasonAreTheSame)
{
    EXPECT_THAT(notesOf(differingMachine(), Subject::DISKS),
        ElementsAre("The library reports to its host:",
            "1 size 2.0 GiB (2147483648) for sda; 4.0 GiB (4294967296) for sdb: wrong unit.",
            "2 partitions 3: miscounted.", "3 nothing: left?out."));
    EXPECT_THAT(notesOf(differingMachine(), Subject::MOUNTS),
        ElementsAre("The library reports to its host:", "1 disks none: not found."));
}

TEST(Notes, showOneValueOnceAndOfManyOnlyTheFirst)
{
    Machine machine = knownMachine({Subject::DISKS});
    for (int i = 0; i < 5; ++i)
        machine.differences.push_back({Subject::DISKS, "sd" + std::string(1, char('a' + i)),
            "size_bytes", uint64_t{0}, "no sector size"});
    EXPECT_THAT(notesOf(machine, Subject::DISKS),
        ElementsAre("The library reports to its host:", "1 size 0 B: no sector size."));
    machine.differences.back().library = uint64_t{1};
    EXPECT_THAT(notesOf(machine, Subject::DISKS).back(),
        "1 size 0 B for 4 of them; 1 B (1) for sde: no sector size.");
    for (size_t i = 0; i < 5; ++i)
        machine.differences[i].library = uint64_t{i / 2};
    EXPECT_THAT(notesOf(machine, Subject::DISKS).back(),
        "1 size 0 B for sda, sdb; 1 B (1) for sdc, sdd; 2 B (2) for sde: no sector size.");
    for (size_t i = 0; i < 5; ++i)
        machine.differences[i].library = uint64_t{i};
    EXPECT_THAT(notesOf(machine, Subject::DISKS).back(),
        "1 size 0 B for sda; 1 B (1) for sdb; 2 B (2) for sdc; other values for 2 more: no sector "
        "size.");
}

TEST(Notes, endBehindTheValueWhereNoReasonIsKnown)
{
    Machine machine = knownMachine({Subject::DISKS});
    machine.differences = {{Subject::DISKS, "sda", "size_bytes", uint64_t{0}, ""},
        {Subject::DISKS, "sdb", "", std::nullopt, ""}};
    EXPECT_THAT(notesOf(machine, Subject::DISKS),
        ElementsAre("The library reports to its host:", "1 size 0 B.", "2 nothing."));
}

TEST(Notes, nameItemsThatTheMachineDoesNotHave)
{
    Machine machine = knownMachine({Subject::DISKS});
    machine.differences = {{Subject::DISKS, "sdy", "records", uint64_t{1}, "no such disk"},
        {Subject::DISKS, "sdz", "records", uint64_t{2}, "no such disk"}};
    EXPECT_THAT(notesOf(machine, Subject::DISKS),
        ElementsAre("The library reports to its host:",
            "1 a record of sdy; 2 records of sdz: no such disk."));
}

TEST(Notes, nameTheFurtherPlacesOfAFilesystemWhichHaveNoRow)
{
    Machine machine = knownMachine({Subject::MOUNTS});
    machine.mounts = {mountOf("/", 75), mountOf("/a b", 75), mountOf("/c d", 75)};
    machine.mounts->at(1).sameAs = "/";
    machine.mounts->at(2).sameAs = "/";
    machine.differences = {{Subject::MOUNTS, "/a b", "size_bytes", uint64_t{0}, "escaped"},
        {Subject::MOUNTS, "/c d", "size_bytes", uint64_t{0}, "escaped"},
        {Subject::MOUNTS, "/c d", "", std::nullopt, "left out"},
        {Subject::MOUNTS, "/", "available_bytes", uint64_t{0}, "reserve"},
        {Subject::MOUNTS, "/a b", "available_bytes", uint64_t{0}, "reserve"}};

    EXPECT_THAT(Notes(machine).texts(Subject::MOUNTS),
        ElementsAre("size 0 B for /a b, /c d: escaped.", "nothing for /c d: left out.",
            "available 0 B: reserve."));
}

TEST(Notes, nameAllFactsOfARecoveryThatHaveOneReason)
{
    Machine machine = knownMachine({Subject::RECOVERY});
    machine.differences = {{Subject::RECOVERY, "", "files_done", uint64_t{7}, "no value for it"},
        {Subject::RECOVERY, "", "bytes_done", uint64_t{0}, "no value for it"},
        {Subject::RECOVERY, "", "files_total", uint64_t{1}, "it has 0"},
        {Subject::RECOVERY, "", "restore_end", uint64_t{1}, ""},
        {Subject::RECOVERY, "", "restore_start", uint64_t{1}, ""}};

    EXPECT_THAT(Notes(machine).texts(Subject::RECOVERY),
        ElementsAre("files done 7, bytes done 0 B: no value for them.", "files total 1: it has 0.",
            "restore end 1.", "restore start 1."));
}

TEST(Notes, sayThatTheQueryFailed)
{
    Machine machine = knownMachine({Subject::DISKS});
    machine.differences = {{Subject::DISKS, "", "", std::nullopt, "no such file"}};

    EXPECT_THAT(notesOf(machine, Subject::DISKS),
        ElementsAre(
            "The library reports to its host:", "1 nothing, as the query failed: no such file."));
}

TEST(Notes, nameTheFactsThatAreUnavailable)
{
    Machine machine = knownMachine({Subject::MEMORY});
    machine.unavailable = {{Subject::MEMORY, "the memory modules", "dmidecode needs root", "x"}};

    EXPECT_THAT(notesOf(machine, Subject::MEMORY),
        ElementsAre("Unknown: the memory modules, as dmidecode needs root."));
    EXPECT_THAT(notesOf(machine, Subject::DISKS), IsEmpty());
}

TEST(Notes, fitTheTerminal)
{
    auto const notes = notesOf(differingMachine(), Subject::DISKS, app_test::terminal(20));
    EXPECT_THAT(std::vector(notes.begin(), notes.begin() + 4),
        ElementsAre("The library reports", "to its host:", "1 size 2.0 GiB", "  (2147483648) for"));
}

TEST(Notes, standBelowTheirTableAndMarkItsRows)
{
    Machine machine = differingMachine();
    app::TableOptions options;
    options.columns = "NAME,NOTE";
    machine.subjects = {Subject::DISKS};
    machine.mounts.reset();

    EXPECT_THAT(app_test::tablesOf(machine, options),
        ElementsAre("NAME     NOTE", "sda      1 2", "sd?[2Jb", "",
            "The library reports to its host:",
            "1 size 2.0 GiB (2147483648) for sda; 4.0 GiB (4294967296) for sdb: wrong unit.",
            "2 partitions 3: miscounted.", "3 nothing: left?out."));
    options.layout.headings = false;
    EXPECT_THAT(app_test::tablesOf(machine, options), ElementsAre("sda      1 2", "sd?[2Jb"));
}

TEST(LibraryText, isTheValueAsPeopleReadIt)
{
    EXPECT_EQ(libraryText(std::nullopt, "vendor"), "none");
    EXPECT_EQ(libraryText(LibraryValue("Ac\x1Bme"), "vendor"), "Ac?me");
    EXPECT_EQ(libraryText(LibraryValue(uint64_t{0}), "highest_hertz"), "0");
    EXPECT_EQ(libraryText(LibraryValue(uint64_t{10'400'000'000}), "highest_hertz"), "10400");
    EXPECT_EQ(libraryText(LibraryValue(int64_t{-1}), ""), "-1");
    EXPECT_EQ(libraryText(LibraryValue(12.34), ""), "12.3");
    EXPECT_EQ(libraryText(LibraryValue(Texts()), "disks"), "none");
    EXPECT_EQ(libraryText(LibraryValue(Texts{"sda", "sdb"}), "disks"), "sda, sdb");
}

TEST(LibraryText, isALocalTimeForAFactThatIsATime)
{
    EXPECT_EQ(libraryText(LibraryValue(int64_t{0}), "restore_end").size(), 19U);
    EXPECT_EQ(libraryText(LibraryValue(int64_t{0}), "restore"), "0");
    EXPECT_EQ(libraryText(LibraryValue(std::string()), "host_name"), "none");
    EXPECT_EQ(libraryText(LibraryValue(std::string()), ""), "");
}

TEST(LibraryText, hasASizeInBothForms)
{
    EXPECT_EQ(libraryText(LibraryValue(uint64_t{2 * GIB}), "size_bytes"), "2.0 GiB (2147483648)");
    EXPECT_EQ(libraryText(LibraryValue(uint64_t{0}), "size_bytes"), "0 B");
    EXPECT_EQ(libraryText(LibraryValue(uint64_t{2 * GIB}), "partitions"), "2147483648");
}

TEST(FactText, isTheKeyInWords)
{
    EXPECT_EQ(app::factText("size_bytes"), "size");
    EXPECT_EQ(app::factText("virtual_machine"), "virtual machine");
    EXPECT_EQ(app::factText("highest_hertz"), "highest MHz");
    EXPECT_EQ(app::factText("mac"), "MAC address");
}

TEST(FurtherPlaces, areTenOnATerminalAndAllInAPipe)
{
    std::vector<app::Mount> mounts = {mountOf("/data", 50)};
    std::string places;
    for (unsigned i = 1; i <= 12; ++i) {
        mounts.push_back(mountOf("/m" + std::to_string(i), 50));
        mounts.back().sameAs = "/data";
        places += (i == 1 ? "/m" : ", /m") + std::to_string(i);
        if (i == 10) {
            EXPECT_THAT(app::furtherPlaces(mounts, app_test::terminal(80)),
                ElementsAre("/data is also mounted on " + places + "."));
        }
    }

    EXPECT_THAT(app::furtherPlaces(mounts, app_test::terminal(80)),
        ElementsAre("/data is also mounted on /m1, /m2, /m3, /m4, /m5, /m6, /m7, /m8, /m9, /m10 "
                    "and on 2 more."));
    EXPECT_THAT(app::furtherPlaces(mounts, app::Layout()),
        ElementsAre("/data is also mounted on " + places + "."));
}

TEST(FurtherPlaces, areOtherOnesThanTheMountsOwn)
{
    std::vector<app::Mount> mounts = {
        mountOf("/data", 50), mountOf("/data", 50), mountOf("/other", 50)};
    mounts[1].sameAs = "/data";
    mounts[2].sameAs = "/data";
    EXPECT_THAT(
        app::furtherPlaces(mounts, app::Layout()), ElementsAre("/data is also mounted on /other."))
        << "mounted twice at one place";
}

TEST(FurtherPlaces, areNotThoseOfAHiddenMount)
{
    std::vector<app::Mount> mounts = {mountOf("/data", 50), mountOf("/other", 50)};
    mounts[1].sameAs = "/data";
    EXPECT_THAT(
        app::furtherPlaces(mounts, app::Layout()), ElementsAre("/data is also mounted on /other."));
    mounts[0].hiddenBy = "/data";
    EXPECT_THAT(app::furtherPlaces(mounts, app::Layout()), IsEmpty());
}
