#include "app/write/recovery_line.h"

#include "app/write/display.h"
#include "app/write/names.h"

#include <array>

namespace app {

namespace {

std::string countText(std::optional<uint32_t> count)
{
    return count ? std::to_string(*count) : UNKNOWN;
}

/** The share of the MB where the engine's percentage, which counts files as much, is another one.
 */
std::string megabytesPercent(Recovery const& recovery)
{
    auto const percent = percentOfMegabytes(recovery);
    return percent ? " (" + *percent + ")" : "";
}

std::string rateText(std::optional<uint32_t> megabytesPerSecond)
{
    return countText(megabytesPerSecond) + " MB/s";
}

std::string leftText(Recovery const& recovery, int64_t now)
{
    auto const left = recovery.timeLeft(now);
    return durationText(left ? std::optional<int64_t>(left->count()) : std::nullopt) + " left";
}

std::string barOf(std::optional<unsigned> percent, unsigned cells, bool blocks)
{
    return bar(percent.value_or(0), cells, blocks);
}

std::string outcomeText(RecoveryOutcome outcome)
{
    switch (outcome) {
    case RecoveryOutcome::FINISHED:
        return "finished";
    case RecoveryOutcome::FAILED:
        return "failed";
    case RecoveryOutcome::UNWRITTEN:
        break;
    }
    return "ended, result unknown";
}

bool isRestorePhase(Recovery const& recovery)
{
    return recovery.phase() != RecoveryPhase::IDLE && recovery.phase() != RecoveryPhase::EARLY;
}

}

std::string recoveryLine(Recovery const& recovery)
{
    std::string line = stateText(recovery);
    if (!isRestorePhase(recovery))
        return line;
    return line + "  " + wholePercentText(recovery.percent) + "  " + countText(recovery.filesDone)
        + " of " + countText(recovery.filesTotal) + " files  " + countText(recovery.megabytesDone)
        + " of " + countText(recovery.megabytesTotal) + " MB" + megabytesPercent(recovery) + "  "
        + rateText(recovery.megabytesPerSecond);
}

std::string stateText(Recovery const& recovery, int64_t now)
{
    std::string state = stateText(recovery);
    if (!recovery.hasEnded(now))
        return state;
    RecoveryOutcome const outcome = recovery.outcome();
    std::string const text = outcomeText(outcome);
    return outcome == RecoveryOutcome::FINISHED ? text : text + ", last state: " + state;
}

std::string recoveryOutcome(Recovery const& recovery, int64_t now)
{
    int64_t const end = recovery.end().value_or(now);
    auto const start = recovery.recoverStart ? recovery.recoverStart : recovery.restoreStart;
    RecoveryOutcome const outcome = recovery.outcome();
    std::string text = outcomeText(outcome)
        + (outcome == RecoveryOutcome::UNWRITTEN ? "; last seen: " : ": ")
        + countText(recovery.filesDone) + " of " + countText(recovery.filesTotal) + " files and "
        + countText(recovery.megabytesDone) + " of " + countText(recovery.megabytesTotal) + " MB";
    if (start && end >= *start)
        text += " in " + durationText(end - *start);
    return text + ", at " + timeText(end);
}

std::string recoveryBar(Recovery const& recovery, size_t columns, int64_t now, bool blocks)
{
    if (!isRestorePhase(recovery))
        return stateText(recovery).substr(0, columns);

    enum Field { PHASE, BAR, PERCENT, MEGABYTES, RATE, TIME_LEFT, FILES, FIELDS };
    constexpr size_t SMALLEST_BAR = 10;
    constexpr size_t BRACKETS = 2;
    constexpr size_t GAP = 2;
    std::string percent = wholePercentText(recovery.percent);
    percent.insert(0, percent.size() < 5 ? 5 - percent.size() : 0, ' '); // As wide as "100 %".
    std::array<std::string, FIELDS> fields;
    fields[PHASE] = phaseText(recovery.phase());
    fields[PERCENT] = percent;
    fields[MEGABYTES] = countText(recovery.megabytesDone) + "/" + countText(recovery.megabytesTotal)
        + " MB" + megabytesPercent(recovery);
    fields[RATE] = rateText(recovery.megabytesPerSecond);
    fields[TIME_LEFT] = leftText(recovery, now);
    fields[FILES] = countText(recovery.filesDone) + "/" + countText(recovery.filesTotal) + " files";
    fields[BAR] = std::string(SMALLEST_BAR + BRACKETS, ' '); // Its place.

    auto const width = [&fields] {
        size_t sum = 0;
        for (std::string const& field : fields)
            sum += field.empty() ? 0 : field.size() + (sum > 0 ? GAP : 0);
        return sum;
    };
    for (Field const field : {FILES, PHASE, RATE, MEGABYTES, TIME_LEFT, BAR})
        if (width() > columns)
            fields[field].clear();

    if (!fields[BAR].empty()) {
        auto const cells = static_cast<unsigned>(SMALLEST_BAR + columns - width());
        fields[BAR] = "[" + barOf(recovery.percent, cells, blocks) + "]";
    }
    std::string line;
    for (std::string const& field : fields)
        if (!field.empty())
            line += (line.empty() ? "" : std::string(GAP, ' ')) + field;
    // Blocks have several bytes a column, but where there is a bar nothing is cut.
    return fields[BAR].empty() ? line.substr(0, columns) : line;
}

}
