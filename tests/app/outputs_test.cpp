#include "tests/app/LocaleFor.h"
#include "tests/app/Program.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>

#include <locale>
#include <map>

using app::Machine;
using app::Subject;
using app_test::allSubjects;
using app_test::failureOf;
using app_test::jsonOf;
using app_test::jsonTextOf;
using app_test::knownMachine;
using app_test::LocaleFor;
using app_test::summaryOf;
using app_test::tablesOf;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

std::string textOf(std::vector<std::string> const& lines)
{
    std::string text;
    for (std::string const& line : lines)
        text += line + "\n";
    return text;
}

/** The document of a machine with one disk of that name. */
std::string documentOfDisk(std::string const& name)
{
    Machine machine;
    machine.subjects = {Subject::DISKS};
    machine.disks = {{name, "", 0, std::nullopt, std::nullopt}};
    return jsonTextOf(machine);
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
        json const document = jsonOf(machine);

        ASSERT_THAT(tables, Not(IsEmpty()));
        EXPECT_THAT(allTables, HasSubstr(textOf(tables)));
        ASSERT_THAT(summary, Not(IsEmpty()));
        EXPECT_THAT(summary.front(), Not(StartsWith(" ")));
        EXPECT_THAT(allOfSummary, HasSubstr(textOf(summary)));
        ASSERT_THAT(document, SizeIs(1));
        EXPECT_THAT(document.front(), Not(IsEmpty()));
        EXPECT_EQ(jsonOf(all).at(document.begin().key()), document.front());
    }
    EXPECT_THAT(jsonOf(all), SizeIs(allSubjects().size()));
}

TEST(Outputs, haveAPlaceForEverySubjectThatCouldNotBeRead)
{
    for (Subject const subject : allSubjects()) {
        SCOPED_TRACE(static_cast<int>(subject));
        Machine machine;
        machine.subjects = {subject};
        machine.problems = {failureOf(subject)};

        EXPECT_THAT(tablesOf(machine), IsEmpty());
        EXPECT_THAT(summaryOf(machine), ElementsAre(testing::EndsWith(" could not be read")));
        ASSERT_THAT(jsonOf(machine), SizeIs(1));
        EXPECT_TRUE(jsonOf(machine).front().is_null());
    }
}

TEST(Outputs, showTheFactsThatWereFoundBeforeAFailure)
{
    for (Subject const subject : allSubjects()) {
        Machine machine = knownMachine({subject});
        auto const tables = tablesOf(machine);
        json const document = jsonOf(machine);
        machine.problems = {failureOf(subject)};

        EXPECT_EQ(tablesOf(machine), tables);
        EXPECT_EQ(jsonOf(machine), document);
    }
}

TEST(Outputs, separateTablesByABlankLine)
{
    EXPECT_THAT(tablesOf(knownMachine({Subject::SYSTEM, Subject::PROCESSORS})),
        ElementsAre("System", "Vendor      Acme?[2J", "Product     Rocket 9000", "Version     -",
            "Hypervisor  KVM (code 4)", "", "CPU   MHz  Max MHz    Load",
            "  0  1200        -  25.0 %  ###.......", "  1     -    10400       -"));
}

TEST(Outputs, haveNoControlCharactersThatATerminalObeys)
{
    Machine const machine = knownMachine();
    for (char const* const locale : {"C", "C.UTF-8"}) {
        LocaleFor const set(locale);
        for (std::string const& text :
            {textOf(tablesOf(machine)), textOf(tablesOf(machine, {true, true})),
                textOf(summaryOf(machine)), jsonTextOf(machine), jsonTextOf(machine, true)}) {
            EXPECT_THAT(text, HasSubstr("EVIL"));
            EXPECT_THAT(text, HasSubstr("/odd"));
            EXPECT_THAT(text, HasSubstr("tun0"));
            EXPECT_THAT(text, Not(testing::ContainsRegex("[\x01-\x09\x0B-\x1F\x7F]")));
            EXPECT_THAT(text, Not(HasSubstr("\xC2\x9B"))) << "the one character for ESC [";
        }
    }
}

TEST(Json, isValidForANameOfAnyBytes)
{
    EXPECT_EQ(json::parse(documentOfDisk("Z\xFCrich \x1B\"")).at("disks").at(0).at("name"),
        "Z\xEF\xBF\xBDrich \x1B\"");
}

TEST(Json, escapesAllControlCharactersAndNothingElse)
{
    // DEL, and U+009B, which is ESC [ in one character; U+00A0 and U+00C2 are none.
    std::string const name = "\x1B[2J\x7F\xC2\x9B\xC2\xA0\xC3\x82";

    std::string const text = documentOfDisk(name);

    EXPECT_THAT(text, HasSubstr("\"name\": \"\\u001b[2J\\u007f\\u009b\xC2\xA0\xC3\x82\","));
    EXPECT_EQ(json::parse(text).at("disks").at(0).at("name"), name);
}

TEST(Json, keepsTheOrderOfKeysAndEndsInANewline)
{
    Machine machine;
    machine.subjects = {Subject::MEMORY, Subject::SYSTEM};
    machine.memory.emplace().free = 1;

    EXPECT_EQ(jsonTextOf(machine),
        "{\n  \"system\": null,\n  \"memory\": {\n    \"total_bytes\": null,\n"
        "    \"free_bytes\": 1,\n    \"total_source\": null\n  }\n}\n");
}

TEST(Json, hasNeitherCommasNorGroupsInNumbers)
{
    Machine machine;
    machine.subjects = {Subject::PROCESSORS};
    machine.processors = {{1234567, std::nullopt, 12.345678}};

    std::locale const former = std::locale::global(std::locale(std::locale(), new CommaAndGroups));
    std::string const text = jsonTextOf(machine);
    std::locale::global(former);

    EXPECT_THAT(text, HasSubstr("\"current_mhz\": 1234567,"));
    EXPECT_THAT(text, HasSubstr("\"usage_percent\": 12.35\n"));
}
