#include "app/recovery_text.h"

#include "app/Table.h"
#include "app/display.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace app {

namespace {

/** @return the local time, empty where it has none. */
std::optional<std::tm> localTime(std::optional<int64_t> seconds)
{
    auto const time = static_cast<std::time_t>(seconds.value_or(0));
    std::tm local{};
    return seconds && localtime_r(&time, &local) ? std::optional(local) : std::nullopt;
}

/** "2026-03-24T14:05:09+01:00", ISO 8601. */
std::optional<std::string> isoTime(std::optional<int64_t> seconds)
{
    auto const local = localTime(seconds);
    std::array<char, 64> text;
    if (!local || std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &*local) == 0)
        return std::nullopt;
    std::string iso = text.data();
    iso.insert(iso.size() - 2, ":"); // strftime(3) writes +0100.
    return iso;
}

std::string countText(std::optional<uint32_t> count)
{
    return count ? std::to_string(*count) : UNKNOWN;
}

std::string wholePercent(std::optional<unsigned> percent)
{
    return percent ? std::to_string(*percent) + " %" : UNKNOWN;
}

std::string rateText(std::optional<uint32_t> megabytesPerSecond)
{
    return countText(megabytesPerSecond) + " MB/s";
}

/** "1:02:03", or `UNKNOWN`. */
std::string durationText(std::optional<std::chrono::seconds> duration)
{
    if (!duration)
        return UNKNOWN;
    long long const seconds = duration->count();
    std::array<char, 64> text;
    (void)std::snprintf(text.data(), text.size(), "%lld:%02lld:%02lld", seconds / 3600,
        seconds / 60 % 60, seconds % 60);
    return text.data();
}

std::string barOf(std::optional<unsigned> percent, unsigned cells, bool blocks)
{
    return bar(static_cast<float>(percent.value_or(0)), cells, blocks);
}

bool isRestorePhase(Recovery const& recovery)
{
    return recovery.phase() != RecoveryPhase::IDLE && recovery.phase() != RecoveryPhase::EARLY;
}

}

std::string timeText(std::optional<int64_t> seconds)
{
    auto const local = localTime(seconds);
    std::array<char, 64> text;
    if (!local || std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &*local) == 0)
        return UNKNOWN;
    return text.data();
}

std::string recoveryTable(Recovery const& recovery)
{
    std::string progress = wholePercent(recovery.percent);
    if (recovery.percent)
        progress += "  " + barText(static_cast<float>(*recovery.percent));
    Table table;
    table.addColumn("Recovery", Table::LEFT);
    table.addColumn("", Table::LEFT);
    table.addRow({"State", phaseText(recovery)});
    table.addRow({"Progress", progress});
    table.addRow(
        {"Files", countText(recovery.filesDone) + " of " + countText(recovery.filesTotal)});
    table.addRow(
        {"MB", countText(recovery.megabytesDone) + " of " + countText(recovery.megabytesTotal)});
    table.addRow(
        {"Rate", recovery.megabytesPerSecond ? rateText(recovery.megabytesPerSecond) : UNKNOWN});
    table.addRow({"Recovery started", timeText(recovery.recoverStart)});
    table.addRow({"Recovery ended", timeText(recovery.recoverEnd)});
    table.addRow({"Restore started", timeText(recovery.restoreStart)});
    table.addRow({"Restore ended", timeText(recovery.restoreEnd)});
    return table.text();
}

Json recoveryJson(Recovery const& recovery)
{
    constexpr std::array NAMES = {"idle", "early", "restoring", "final_sync", "later"};
    return {{"state", NAMES.at(static_cast<size_t>(recovery.phase()))},
        {"operation", recovery.operation}, {"percent", jsonValue(recovery.percent)},
        {"files_done", jsonValue(recovery.filesDone)},
        {"files_total", jsonValue(recovery.filesTotal)},
        {"megabytes_done", jsonValue(recovery.megabytesDone)},
        {"megabytes_total", jsonValue(recovery.megabytesTotal)},
        {"megabytes_per_second", jsonValue(recovery.megabytesPerSecond)},
        {"recover_start", jsonValue(isoTime(recovery.recoverStart))},
        {"recover_end", jsonValue(isoTime(recovery.recoverEnd))},
        {"restore_start", jsonValue(isoTime(recovery.restoreStart))},
        {"restore_end", jsonValue(isoTime(recovery.restoreEnd))}};
}

std::string recoveryLine(Recovery const& recovery)
{
    std::string line = phaseText(recovery);
    if (!isRestorePhase(recovery))
        return line;
    return line + "  " + wholePercent(recovery.percent) + "  " + countText(recovery.filesDone)
        + " of " + countText(recovery.filesTotal) + " files  " + countText(recovery.megabytesDone)
        + " of " + countText(recovery.megabytesTotal) + " MB  "
        + rateText(recovery.megabytesPerSecond);
}

std::string recoveryBar(Recovery const& recovery, size_t columns, int64_t now, bool blocks)
{
    if (!isRestorePhase(recovery))
        return phaseText(recovery).substr(0, columns);

    enum Field { PHASE, BAR, PERCENT, MEGABYTES, RATE, LEFT, FILES, FIELDS };
    constexpr size_t SMALLEST_BAR = 10;
    constexpr size_t BRACKETS = 2;
    constexpr size_t GAP = 2;
    std::string percent = wholePercent(recovery.percent);
    percent.insert(0, percent.size() < 5 ? 5 - percent.size() : 0, ' '); // As wide as "100 %".
    std::array<std::string, FIELDS> fields;
    fields[PHASE] = phaseText(recovery);
    fields[PERCENT] = percent;
    fields[MEGABYTES] =
        countText(recovery.megabytesDone) + "/" + countText(recovery.megabytesTotal) + " MB";
    fields[RATE] = rateText(recovery.megabytesPerSecond);
    fields[LEFT] = durationText(recovery.timeLeft(now)) + " left";
    fields[FILES] = countText(recovery.filesDone) + "/" + countText(recovery.filesTotal) + " files";
    fields[BAR] = std::string(SMALLEST_BAR + BRACKETS, ' '); // Its place.

    auto const width = [&fields] {
        size_t sum = 0;
        for (std::string const& field : fields)
            sum += field.empty() ? 0 : field.size() + (sum > 0 ? GAP : 0);
        return sum;
    };
    for (Field const field : {FILES, PHASE, RATE, MEGABYTES, LEFT, BAR})
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
