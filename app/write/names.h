#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"

#include <optional>
#include <string>
#include <vector>

/** Facts in words that more than one output uses. */
namespace app {

/** @return the key of a subject in JSON, which stands for it in other outputs, too: "mounts". */
char const* keyOf(Subject subject);

/** @return "processors", as in "cannot read the processors". */
std::string subjectText(Subject subject);

/** @return the command that shows a subject, "dovrel-sysinfo cpus". */
std::string commandText(Subject subject);

/** @return "restoring", "before the restore" ... */
std::string phaseText(RecoveryPhase phase);

/** @return the phase, with the engine's number of an operation that has no name: "before the
 * restore (operation 4000)"; of an idle engine with the time at which the last recovery ended. */
std::string stateText(Recovery const& recovery);

/** @return the share of the MB that are done where it is another than the engine's percentage,
 * which counts files as much as MB: "10 %". */
std::optional<std::string> percentOfMegabytes(Recovery const& recovery);

/** @return "cannot read the processors from /proc/stat: " and the reason, in one line. */
std::string problemText(Problem const& problem);

/**
 * @return the messages for a machine's problems.
 *
 * @param layout the form of the terminal on which they stand above the summary: where they would
 * take too many of its lines, the last message counts the others and names the commands that show
 * them. In a pipe all are there.
 */
std::vector<std::string> problemTexts(std::vector<Problem> const& problems, Layout const& layout);

/** @return "returned true", "did not end in time: " and the reason. */
std::string outcomeText(LibraryAnswer const& answer);

/** @return a local time, "2026-03-24 14:05:09"; `UNKNOWN` for none. */
std::string timeText(std::optional<int64_t> seconds);

/** @return "1:02:03"; `UNKNOWN` for none. */
std::string durationText(std::optional<int64_t> seconds);

/** @return "3 days 4:05"; `UNKNOWN` for none. */
std::string uptimeText(std::optional<uint64_t> seconds);

inline constexpr char const* NO_RECOVERY = "no recovery has been started on this machine";

/** In place of a part of the machine. */
inline constexpr char const* UNREADABLE = "could not be read";

/** @return the text in place of a subject without items: "none", or `UNREADABLE` where a problem
 * may be the reason. */
char const* noItemsText(Machine const& machine, Subject subject);

}
