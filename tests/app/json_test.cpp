#include "tests/app/LocaleFor.h"
#include "tests/app/Program.h"
#include "tests/app/known_machine.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <locale>

using app::Machine;
using app::Subject;
using app_test::allSubjects;
using app_test::diskOf;
using app_test::failureOf;
using app_test::jsonOf;
using app_test::jsonTextOf;
using app_test::knownMachine;
using app_test::LocaleFor;
using app_test::summaryOf;
using app_test::tablesOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testkit::Json;

namespace {

/** The keys of every document beside those of its subjects. */
constexpr size_t FURTHER_KEYS = 6;

std::string textOf(std::vector<std::string> const& lines)
{
    std::string text;
    for (std::string const& line : lines)
        text += line + "\n";
    return text;
}

Machine machineWithDisk(std::string const& name)
{
    Machine machine;
    machine.subjects = {Subject::DISKS};
    machine.disks = {diskOf(name)};
    return machine;
}

class CommaAndGroups : public std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

}

TEST(Outputs, showEverySubjectThatWasReadAndNoOther)
{
    Machine const all = knownMachine();
    std::string const allTables = textOf(tablesOf(all));
    std::string const allOfSummary = textOf(summaryOf(all));
    for (Subject const subject : allSubjects()) {
        SCOPED_TRACE(static_cast<int>(subject));
        Machine const machine = knownMachine({subject});

        auto const tables = tablesOf(machine);
        auto const summary = summaryOf(machine);
        Json const document = jsonOf(machine);

        ASSERT_THAT(tables, Not(IsEmpty()));
        EXPECT_THAT(allTables, HasSubstr(tables.front()));
        ASSERT_THAT(summary, Not(IsEmpty()));
        EXPECT_THAT(summary.front(), Not(StartsWith(" ")));
        EXPECT_THAT(allOfSummary, HasSubstr(textOf(summary)));
        ASSERT_THAT(document, SizeIs(1 + FURTHER_KEYS));
        for (auto const& [key, value] : document.items())
            EXPECT_TRUE(key == "subjects" || jsonOf(all).at(key) == value) << key;
    }
    EXPECT_THAT(jsonOf(all), SizeIs(allSubjects().size() + FURTHER_KEYS));
}

TEST(Outputs, haveAPlaceForEverySubjectThatCouldNotBeRead)
{
    for (Subject const subject : allSubjects()) {
        SCOPED_TRACE(static_cast<int>(subject));
        Machine machine;
        machine.subjects = {subject};
        machine.problems = {failureOf(subject)};
        Json const document = jsonOf(machine);

        EXPECT_THAT(tablesOf(machine), IsEmpty());
        EXPECT_THAT(summaryOf(machine), ElementsAre(testing::EndsWith(" could not be read")));
        ASSERT_THAT(document, SizeIs(1 + FURTHER_KEYS));
        size_t unknown = 0;
        for (auto const& [key, value] : document.items())
            unknown += value.is_null() ? 1 : 0;
        EXPECT_EQ(unknown, 1U);
        EXPECT_THAT(document.at("problems"), SizeIs(1));
    }
}

TEST(Outputs, showTheFactsThatWereFoundBeforeAFailure)
{
    for (Subject const subject : allSubjects()) {
        Machine machine = knownMachine({subject});
        auto const tables = tablesOf(machine);
        auto const summary = summaryOf(machine);
        machine.problems = {failureOf(subject)};

        EXPECT_EQ(tablesOf(machine), tables);
        EXPECT_EQ(summaryOf(machine), summary);
    }
}

TEST(Outputs, haveABlankLineBetweenTwoTables)
{
    auto const lines = tablesOf(knownMachine({Subject::SYSTEM, Subject::DISKS}));

    EXPECT_EQ(lines.front(), "SYSTEM");
    auto const blank = std::find(lines.begin(), lines.end(), "");
    ASSERT_NE(blank, lines.end());
    EXPECT_THAT(*(blank + 1), StartsWith("NAME "));
}

TEST(Outputs, haveNoControlCharactersThatATerminalObeys)
{
    Machine const machine = knownMachine();
    app::TableOptions tree;
    tree.diskTree = true;
    tree.columns = "NAME,MODEL,MOUNTPOINTS";
    for (char const* const locale : {"C", "C.UTF-8"}) {
        LocaleFor const set(locale);
        for (std::string const& text :
            {textOf(tablesOf(machine)), textOf(tablesOf(knownMachine({Subject::DISKS}), tree)),
                textOf(summaryOf(machine)), jsonTextOf(machine)}) {
            EXPECT_THAT(text, HasSubstr("EVIL"));
            EXPECT_THAT(text, Not(testing::ContainsRegex("[\x01-\x09\x0B-\x1F\x7F]")));
            EXPECT_THAT(text, Not(HasSubstr("\xC2\x9B"))) << "the one character for ESC [";
        }
    }
}

TEST(Outputs, drawBlocksAndBranchesWhereTheLocaleHasThem)
{
    Machine const machine = knownMachine({Subject::DISKS, Subject::MOUNTS});
    app::TableOptions tree;
    tree.diskTree = true;
    EXPECT_THAT(textOf(tablesOf(machine, tree)), HasSubstr("\n`-sda1 "));
    EXPECT_THAT(textOf(summaryOf(machine, app_test::terminal(80))), HasSubstr("  ########..\n"));

    LocaleFor const utf8("C.UTF-8");

    EXPECT_THAT(textOf(tablesOf(machine, tree)), HasSubstr("\n└─sda1 "));
    EXPECT_THAT(textOf(summaryOf(machine, app_test::terminal(80))), HasSubstr("  ████████░░\n"));
}

TEST(Outputs, haveSizesAsNumbersOfBytesWhereTheReaderWantsThem)
{
    app::TableOptions options;
    options.bytes = true;
    options.columns = "SIZE";
    EXPECT_EQ(tablesOf(knownMachine({Subject::DISKS}), options).at(1), "1099511627776");
    EXPECT_EQ(tablesOf(knownMachine({Subject::MOUNTS}), options).at(1), "107374182400");
    options.columns = "";
    EXPECT_THAT(tablesOf(knownMachine({Subject::MEMORY}), options).at(1),
        testing::MatchesRegex("Total +17179869184"));
}

TEST(Json, hasNullForWhatIsUnknown)
{
    Machine machine = machineWithDisk("sda");
    machine.disks->front().bytes.reset();
    machine.disks->front().device.clear();
    machine.subjects.insert(Subject::MEMORY);
    machine.memory.emplace().free = 0;
    machine.subjects.insert(Subject::NETWORKS);
    machine.networks.emplace().adapters.emplace_back();

    Json const document = jsonOf(machine);

    EXPECT_TRUE(document.at("networks").at("adapters").at(0).at("addresses").is_null());

    EXPECT_TRUE(document.at("disks").at(0).at("size_bytes").is_null());
    EXPECT_TRUE(document.at("disks").at(0).at("model").is_null());
    EXPECT_TRUE(document.at("disks").at(0).at("device").is_null());
    EXPECT_EQ(document.at("disks").at(0).at("slaves"), Json::array()) << "none is not unknown";
    EXPECT_TRUE(document.at("memory").at("total_bytes").is_null());
    EXPECT_TRUE(document.at("memory").at("modules").is_null());
    EXPECT_EQ(document.at("memory").at("free_bytes"), 0) << "nothing is not unknown";
}

TEST(Json, hasTheLibrarysOtherValuesBesideEachItem)
{
    Machine machine = machineWithDisk("sda");
    machine.disks->push_back(diskOf("sdb"));
    machine.disks->push_back(diskOf("sdc"));
    machine.differences = {{Subject::DISKS, "sda", "size_bytes", uint64_t{42}, "wrong unit"},
        {Subject::DISKS, "sda", "partitions", std::nullopt, "none"},
        {Subject::DISKS, "sdb", "", std::nullopt, "left out"}};

    Json const disks = jsonOf(machine).at("disks");

    EXPECT_EQ(disks.at(0).at("library"), Json::parse(R"({"size_bytes": 42, "partitions": null})"));
    EXPECT_TRUE(disks.at(1).at("library").is_null()) << "the library does not report it at all";
    EXPECT_EQ(disks.at(2).at("library"), Json::object()) << "the library reports the same";
}

TEST(Json, listsDifferencesProblemsAndUnavailableFacts)
{
    Machine machine = knownMachine({Subject::MEMORY});
    machine.problems = {failureOf(Subject::MEMORY)};
    machine.unavailable = {{Subject::MEMORY, "the memory modules", "no root", "dmidecode"}};
    machine.differences = {{Subject::MEMORY, "", "total_bytes", uint64_t{7}, "the modules' sum"},
        {Subject::MEMORY, "x", "", std::nullopt, ""}};

    Json const document = jsonOf(machine);

    EXPECT_EQ(document.at("problems"), Json::parse(R"([{"subject": "memory",
        "fact": "a part of the machine", "reason": "the test says so", "source": "the test"}])"));
    EXPECT_EQ(document.at("unavailable"), Json::parse(R"([{"subject": "memory",
        "fact": "the memory modules", "reason": "no root", "source": "dmidecode"}])"));
    EXPECT_EQ(document.at("differences"), Json::parse(R"([
        {"subject": "memory", "item": null, "fact": "total_bytes", "library": 7,
         "reason": "the modules' sum"},
        {"subject": "memory", "item": "x", "fact": null, "library": null, "reason": null}])"));
}

TEST(Json, isValidForANameOfAnyBytes)
{
    EXPECT_EQ(jsonOf(machineWithDisk("Z\xFCrich \x1B\"")).at("disks").at(0).at("name"),
        "Z\xEF\xBF\xBDrich \x1B\"");
}

TEST(Json, escapesAllControlCharactersAndNothingElse)
{
    // DEL, and U+009B, which is ESC [ in one character; U+00A0 and U+00C2 are none.
    std::string const name = "\x1B[2J\x7F\xC2\x9B\xC2\xA0\xC3\x82";

    std::string const text = jsonTextOf(machineWithDisk(name));

    EXPECT_THAT(text, HasSubstr("\"name\": \"\\u001b[2J\\u007f\\u009b\xC2\xA0\xC3\x82\","));
    EXPECT_EQ(Json::parse(text).at("disks").at(0).at("name"), name);
}

TEST(Json, keepsTheOrderOfKeysAndEndsInANewline)
{
    Machine machine;
    machine.subjects = {Subject::MEMORY, Subject::SYSTEM};

    EXPECT_EQ(jsonTextOf(machine), R"({
  "schema": "dovrel-sysinfo/1",
  "time": "1970-01-01T00:00:00+00:00",
  "subjects": [
    "system",
    "memory"
  ],
  "system": null,
  "memory": null,
  "problems": [],
  "unavailable": [],
  "differences": []
}
)");
}

TEST(Json, hasNeitherCommasNorGroupsInNumbers)
{
    Machine machine = knownMachine({Subject::PROCESSORS});
    machine.processors->list.front().currentMHz = 10400;
    machine.processors->list.front().loadPercent = 12.345678;

    std::locale const former = std::locale::global(std::locale(std::locale(), new CommaAndGroups));
    std::string const text = jsonTextOf(machine);
    std::locale::global(former);

    EXPECT_THAT(text, HasSubstr("\"current_hertz\": 10400000000,"));
    EXPECT_THAT(text, HasSubstr("\"load_ratio\": 0.1235,"));
}
