#include "app/exit_status.h"
#include "app/write/json.h"
#include "app/write/library.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using app::LibraryAnswer;
using app::Machine;
using app::Subject;
using app_test::linesOf;
using app_test::Outcome;
using app_test::WholeMachine;
using testing::ElementsAre;
using testing::HasSubstr;
using testkit::Json;

namespace {

/** A machine whose library reports a disk, and no memory within half a second. */
Machine answeringMachine()
{
    Machine machine;
    machine.subjects = {Subject::MEMORY, Subject::DISKS};
    LibraryAnswer& disks = machine.library[Subject::DISKS];
    disks.query = "getPhysicalDisksInternal";
    disks.seconds = 0.0123;
    disks.records = {{"sd\x1B[2Ja",
        {{"getDiskID", std::string("sda")}, {"getDiskTotalSizeInBytes", uint64_t{512}}}}};
    LibraryAnswer& memory = machine.library[Subject::MEMORY];
    memory.query = "getMemoryInfo";
    memory.outcome = LibraryAnswer::NOT_ENDED;
    memory.reason = "a tool did not end";
    memory.seconds = 0.5;
    machine.differences = {{Subject::MEMORY, "", "", std::nullopt, "a tool did not end"},
        {Subject::DISKS, "sda", "size_bytes", uint64_t{2048}, "wrong unit"},
        {Subject::DISKS, "sdb", "", std::nullopt, "left out"}};
    return machine;
}

std::string wordsOf(LibraryAnswer::Outcome outcome)
{
    Machine machine;
    LibraryAnswer& answer = machine.library[Subject::DISKS];
    answer.query = "query";
    answer.outcome = outcome;
    answer.reason = outcome == LibraryAnswer::RETURNED_TRUE ? "" : "why";
    std::ostringstream out;
    app::writeLibrary(machine, {}, out);
    return out.str();
}

}

TEST(Library, isItsAnswersWithTheirDifferences)
{
    std::ostringstream out;
    app::writeLibrary(answeringMachine(), {}, out);

    EXPECT_THAT(linesOf(out.str()),
        ElementsAre("getMemoryInfo did not return: a tool did not end, 0 records",
            "  Different from the machine:", "  * the query failed: a tool did not end.", "",
            "getPhysicalDisksInternal returned true, 1 record", "  \"sd?[2Ja\"",
            "    getDiskID: sda", "    getDiskTotalSizeInBytes: 512",
            "  Different from the machine:", "  * sda: size 2.0 KiB (2048): wrong unit.",
            "  * sdb is not reported: left out."));
}

TEST(Library, fitsTheTerminal)
{
    std::ostringstream out;
    app::writeLibrary(answeringMachine(), app_test::terminal(40), out);

    for (std::string const& line : linesOf(out.str()))
        EXPECT_LE(line.size(), 40U) << line;
}

TEST(Library, losesNoBlankOfALineOfARecord)
{
    Machine machine = answeringMachine();
    std::string const text = "sda (Acme_Disk)  500107862016 bytes in  2 partitions ";
    machine.library[Subject::DISKS].records[0].text = text;
    std::ostringstream out;
    app::writeLibrary(machine, app_test::terminal(40), out);

    EXPECT_THAT(out.str(),
        testing::HasSubstr("\n  \"sda (Acme_Disk)  500107862016 bytes i\n  n  2 partitions \"\n"));
}

TEST(Library, breaksTheSameLinesWithColors)
{
    app::Layout layout = app_test::terminal(40);
    std::ostringstream plain;
    app::writeLibrary(answeringMachine(), layout, plain);
    layout.colors = true;
    std::ostringstream colors;
    app::writeLibrary(answeringMachine(), layout, colors);

    std::string text = colors.str();
    EXPECT_NE(text, plain.str());
    for (std::string const sequence : {"\x1B[1m", "\x1B[0m"})
        for (size_t place = 0; (place = text.find(sequence)) != std::string::npos;)
            text.erase(place, sequence.size());
    EXPECT_EQ(text, plain.str());
}

TEST(Library, namesRecordsOfItemsThatTheMachineDoesNotHave)
{
    Machine machine = answeringMachine();
    machine.differences = {{Subject::DISKS, "sdy", "records", uint64_t{1}, "no such disk"},
        {Subject::DISKS, "sdz", "records", uint64_t{1}, ""}};
    std::ostringstream out;
    app::writeLibrary(machine, {}, out);

    EXPECT_THAT(linesOf(out.str()), testing::Contains("  * a record of sdy: no such disk."));
    EXPECT_THAT(linesOf(out.str()), testing::Contains("  * a record of sdz."));
}

TEST(Library, hasWordsForEveryOutcome)
{
    EXPECT_EQ(wordsOf(LibraryAnswer::RETURNED_TRUE), "query returned true, 0 records\n");
    EXPECT_THAT(wordsOf(LibraryAnswer::RETURNED_FALSE), HasSubstr("query returned false: why, "));
    EXPECT_THAT(wordsOf(LibraryAnswer::THREW), HasSubstr("query threw an exception: why, "));
    EXPECT_THAT(wordsOf(LibraryAnswer::NOT_ENDED), HasSubstr("query did not return: why, "));
    EXPECT_THAT(wordsOf(LibraryAnswer::CRASHED), HasSubstr("query crashed: why, "));
}

TEST(Library, isAListOfQueriesForScripts)
{
    std::ostringstream out;
    app::writeLibraryJson(answeringMachine(), out);
    Json const document = Json::parse(out.str());

    EXPECT_EQ(document.at("queries"), Json::parse(R"([
        {"query": "getMemoryInfo", "subject": "memory", "outcome": "no_end",
         "reason": "a tool did not end", "duration_seconds": 0.5, "records": []},
        {"query": "getPhysicalDisksInternal", "subject": "disks", "outcome": "true",
         "reason": null, "duration_seconds": 0.0123,
         "records": [{"to_string": "sd\u001b[2Ja",
                      "getters": {"getDiskID": "sda", "getDiskTotalSizeInBytes": 512}}]}])"));
    EXPECT_EQ(document.at("schema"), "dovrel-sysinfo-library/1");
    EXPECT_EQ(document.at("differences").size(), 3U);
}

TEST(LibraryCommand, asksTheLibraryEveryQuestion)
{
    WholeMachine const machine;

    Outcome const text = machine.program({"library"}).run();
    Outcome const document = machine.program({"library", "--json"}).run();

    EXPECT_EQ(text.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(text.err, "");
    EXPECT_THAT(text.out, HasSubstr("getMemoryInfo returned true, 1 record\n"));
    EXPECT_THAT(text.out, HasSubstr("getCurrentUsage and toString are not called"));
    EXPECT_THAT(text.out, HasSubstr("\n    getDiskID: sdzz\n"));
    EXPECT_THAT(text.out, HasSubstr("\n    getName: kit0\n"));
    EXPECT_EQ(document.status, app::EXIT_STATUS_OK);
    std::vector<std::string> queries;
    Json const answers = Json::parse(document.out);
    for (Json const& query : answers.at("queries"))
        queries.push_back(query.at("query"));
    EXPECT_THAT(queries,
        ElementsAre("getSystemInfo", "getCPUsInternal", "getMemoryInfo", "getPhysicalDisksInternal",
            "getDisksInternal", "getNetworksInternal", "getCloneInfo"));
}

TEST(LibraryCommand, succeedsWhereAQueryOfTheLibraryFails)
{
    WholeMachine const machine;
    std::filesystem::remove(machine.folder().path() / "tools/ifconfig");

    Outcome const text = machine.program({"library"}).run();

    EXPECT_EQ(text.status, app::EXIT_STATUS_OK) << "the machine itself was read";
    EXPECT_EQ(text.err, "");
    EXPECT_THAT(text.out, HasSubstr("getNetworksInternal returned false: "));
}
