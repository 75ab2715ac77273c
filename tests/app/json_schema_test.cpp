// The documents of machines in memory, checked against the schema.

#include "app/write/json.h"
#include "tests/app/known_machine.h"
#include "tests/app/schema_errors.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <limits>
#include <locale>
#include <sstream>
#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
#endif

using app::LibraryAnswer;
using app::Machine;
using app::Recovery;
using app::Subject;
using app_test::allSubjects;
using app_test::jsonTextOf;
using app_test::knownMachine;
using app_test::schemaErrors;

namespace {

constexpr uint64_t MOST = std::numeric_limits<uint64_t>::max();
constexpr unsigned MOST_OF_32 = std::numeric_limits<unsigned>::max();

std::string libraryJsonOf(Machine const& machine)
{
    std::ostringstream out;
    app::writeLibraryJson(machine, out);
    return out.str();
}

/** The largest figures, and strings that are no UTF-8 or empty. */
Machine oddMachine()
{
    Machine machine = knownMachine();
    machine.time = std::numeric_limits<int64_t>::max();
    machine.system->bootTime = std::numeric_limits<int64_t>::max();
    machine.system->uptimeSeconds = MOST;
    machine.system->version = "\xFF";
    machine.processors->list.back().highestMHz = MOST_OF_32;
    machine.memory->total = MOST;
    machine.memory->modules = {{"", MOST, "DDR", "4294967295 MT/s"}, {"A", 0, {}, "x"}};
    machine.disks->front().bytes = MOST;
    machine.networks->adapters.front().speedMbit = MOST_OF_32;
    machine.networks->adapters.front().state = "unknown";
    machine.networks->adapters.back().addresses.reset();
    machine.recovery->percent = MOST_OF_32;
    machine.recovery->megabytesTotal = MOST_OF_32;
    machine.recovery->restoreStart = 1;
    return machine;
}

LibraryAnswer answerWithEachType()
{
    LibraryAnswer answer;
    answer.query = "query";
    answer.records = {{"text",
        {{"text", std::string("x")}, {"number", MOST}, {"signed", int64_t{-1}}, {"rate", 0.5},
            {"list", std::vector<std::string>{"a"}}}}};
    return answer;
}

/** Sets the locale of C and of C++, and finds those that the tests have made. */
class NumbersOf {
public:
    explicit NumbersOf(char const* name)
    {
#ifdef __SANITIZE_ADDRESS__
        // glibc's newlocale(3) does not free its copy of LOCPATH.
        __lsan::ScopedDisabler const leaksOfTheLocale;
#endif
        ::setenv("LOCPATH", DOVREL_NUMBER_LOCALES, 1);
        m_former = std::locale::global(std::locale(name));
    }
    NumbersOf(NumbersOf const&) = delete;
    NumbersOf& operator=(NumbersOf const&) = delete;
    ~NumbersOf()
    {
        std::locale::global(m_former);
        ::unsetenv("LOCPATH");
    }

private:
    std::locale m_former;
};

}

TEST(JsonSchema, isFollowedWithEachSubjectAlone)
{
    std::string documents;
    for (Subject const subject : allSubjects()) {
        Machine machine = knownMachine({subject});
        documents += jsonTextOf(machine);
        Machine unreadable;
        unreadable.subjects = {subject};
        unreadable.problems = {app_test::failureOf(subject)};
        documents += jsonTextOf(unreadable);
    }
    EXPECT_EQ(schemaErrors(documents), "");
}

TEST(JsonSchema, isFollowedWithOddFigures)
{
    Machine machine = oddMachine();
    EXPECT_EQ(schemaErrors(jsonTextOf(machine)), "");
    machine.time = -1;
    machine.recovery.reset();
    EXPECT_EQ(schemaErrors(jsonTextOf(machine)), "") << "without a recovery";
}

TEST(JsonSchema, isFollowedByEachStateOfARecovery)
{
    Machine machine;
    machine.subjects = {Subject::RECOVERY};
    std::string lines = app::jsonLine(machine) + "\n";
    for (int32_t const operation : {1000, 0, -5, 4000, 5000, 5500, 7000}) {
        machine.recovery.emplace();
        machine.recovery->operation = operation;
        lines += app::jsonLine(machine) + "\n";
    }
    EXPECT_EQ(schemaErrors(lines), "");
}

TEST(JsonSchema, isFollowedByTheLibrarysResults)
{
    Machine machine;
    std::string documents = libraryJsonOf(machine);
    for (auto const outcome : {LibraryAnswer::RETURNED_TRUE, LibraryAnswer::RETURNED_FALSE,
             LibraryAnswer::THREW, LibraryAnswer::NOT_ENDED, LibraryAnswer::CRASHED}) {
        machine.library[Subject::DISKS] = answerWithEachType();
        machine.library[Subject::DISKS].outcome = outcome;
        documents += libraryJsonOf(machine);
    }
    EXPECT_EQ(schemaErrors(documents), "");
}

TEST(JsonSchema, isNotFollowedByFurtherKeys)
{
    EXPECT_NE(schemaErrors(R"({"schema": "dovrel-sysinfo/1", "time": null, "subjects": [],
        "problems": [], "unavailable": [], "differences": [], "further": 1})"),
        "");
    EXPECT_NE(schemaErrors(""), "");
}

TEST(Json, isTheSameTextInEachLocale)
{
    Machine machine = oddMachine();
    machine.processors->loadPercent = 12.345;
    machine.library[Subject::DISKS] = answerWithEachType();
    auto const texts = [&machine] {
        return jsonTextOf(machine) + libraryJsonOf(machine) + app::jsonLine(machine);
    };
    std::string const expected = texts();
    for (char const* const name : {"de_DE.UTF-8", "tr_TR.UTF-8"}) {
        NumbersOf const locale(name);
        ASSERT_STREQ(std::localeconv()->decimal_point, ",") << name;
        EXPECT_EQ(texts(), expected) << name;
    }
}
