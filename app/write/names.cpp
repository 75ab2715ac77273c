#include "app/write/names.h"

#include "app/write/display.h"
#include "app/write/standard_streams.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <set>

namespace app {

namespace {

struct SubjectNames {
    char const* key;
    char const* text;
    char const* command;
};

SubjectNames namesOf(Subject subject)
{
    switch (subject) {
    case Subject::SYSTEM:
        return {"system", "system", "system"};
    case Subject::PROCESSORS:
        return {"processors", "processors", "cpus"};
    case Subject::MEMORY:
        return {"memory", "memory", "memory"};
    case Subject::DISKS:
        return {"disks", "disks", "disks"};
    case Subject::MOUNTS:
        return {"mounts", "mounted filesystems", "mounts"};
    case Subject::NETWORKS:
        return {"networks", "network adapters", "networks"};
    case Subject::RECOVERY:
        break;
    }
    return {"recovery", "recovery", "recovery"};
}

}

char const* keyOf(Subject subject)
{
    return namesOf(subject).key;
}

std::string subjectText(Subject subject)
{
    return namesOf(subject).text;
}

std::string commandText(Subject subject)
{
    return std::string("dovrel-sysinfo ") + namesOf(subject).command;
}

std::string phaseText(RecoveryPhase phase)
{
    switch (phase) {
    case RecoveryPhase::IDLE:
        return "idle";
    case RecoveryPhase::EARLY:
        return "before the restore";
    case RecoveryPhase::RESTORING:
        return "restoring";
    case RecoveryPhase::FINAL_SYNC:
        return "final sync";
    case RecoveryPhase::LATER:
        break;
    }
    return "after the restore";
}

std::string stateText(Recovery const& recovery)
{
    RecoveryPhase const phase = recovery.phase();
    std::string const text = phaseText(phase);
    if (phase == RecoveryPhase::IDLE && recovery.recoverEnd)
        return text + ", the last recovery ended at " + timeText(recovery.recoverEnd);
    bool const unnamed = phase == RecoveryPhase::EARLY || phase == RecoveryPhase::LATER;
    // The library reports 0 where the engine writes no operation.
    return unnamed && recovery.operation != 0
        ? text + " (operation " + std::to_string(recovery.operation) + ")"
        : text;
}

std::optional<std::string> percentOfMegabytes(Recovery const& recovery)
{
    auto const percent = percentOf(recovery.megabytesDone, recovery.megabytesTotal);
    if (!percent || static_cast<unsigned>(*percent) == recovery.percent)
        return std::nullopt;
    return wholePercentText(static_cast<unsigned>(*percent));
}

std::string problemText(Problem const& problem)
{
    return "cannot read " + problem.fact + " from " + printable(problem.source) + ": "
        + printable(problem.reason);
}

namespace {

/** The first problems; where there are more, a last message counts them. */
std::vector<std::string> firstProblemTexts(std::vector<Problem> const& problems, size_t count)
{
    std::vector<std::string> texts;
    std::set<std::string> commands;
    for (Problem const& problem : problems)
        if (texts.size() < count)
            texts.push_back(problemText(problem));
        else
            commands.insert(commandText(problem.subject));
    if (count < problems.size())
        texts.push_back("and " + std::to_string(problems.size() - count)
            + " more: " + joined({commands.begin(), commands.end()}));
    return texts;
}

}

std::vector<std::string> problemTexts(std::vector<Problem> const& problems, Layout const& layout)
{
    constexpr size_t MOST_LINES = 7;
    std::vector<std::string> texts = firstProblemTexts(problems, problems.size());
    auto const lines = [&] {
        size_t sum = 0;
        for (std::string const& text : texts)
            sum += messageLines(text, layout).size();
        return sum;
    };
    for (size_t count = problems.size(); layout.isTerminal() && count > 1 && lines() > MOST_LINES;)
        texts = firstProblemTexts(problems, --count);
    return texts;
}

char const* noItemsText(Machine const& machine, Subject subject)
{
    return machine.hasProblem(subject) ? UNREADABLE : "none";
}

std::string outcomeText(LibraryAnswer const& answer)
{
    std::string const reason = answer.reason.empty() ? "" : ": " + printable(answer.reason);
    switch (answer.outcome) {
    case LibraryAnswer::RETURNED_TRUE:
        return "returned true";
    case LibraryAnswer::RETURNED_FALSE:
        return "returned false" + reason;
    case LibraryAnswer::THREW:
        return "threw an exception" + reason;
    case LibraryAnswer::NOT_ENDED:
        return "did not return" + reason;
    case LibraryAnswer::CRASHED:
        break;
    }
    return "crashed" + reason;
}

std::string timeText(std::optional<int64_t> seconds)
{
    auto const time = static_cast<std::time_t>(seconds.value_or(0));
    std::tm local{};
    std::array<char, 64> text;
    // A time_t of 32 bits ends in 2038.
    if (!seconds || time != *seconds || !localtime_r(&time, &local)
        || std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local) == 0)
        return UNKNOWN;
    return text.data();
}

std::string durationText(std::optional<int64_t> seconds)
{
    if (!seconds)
        return UNKNOWN;
    auto const count = static_cast<long long>(*seconds);
    std::array<char, 64> text;
    (void)std::snprintf(
        text.data(), text.size(), "%lld:%02lld:%02lld", count / 3600, count / 60 % 60, count % 60);
    return text.data();
}

std::string uptimeText(std::optional<uint64_t> seconds)
{
    if (!seconds)
        return UNKNOWN;
    constexpr uint64_t DAY = 86400;
    uint64_t const days = *seconds / DAY;
    uint64_t const minutes = *seconds % DAY / 60;
    std::array<char, 64> clock;
    (void)std::snprintf(clock.data(), clock.size(), "%u:%02u", static_cast<unsigned>(minutes / 60),
        static_cast<unsigned>(minutes % 60));
    if (days == 0)
        return clock.data();
    return std::to_string(days) + (days == 1 ? " day " : " days ") + clock.data();
}

}
