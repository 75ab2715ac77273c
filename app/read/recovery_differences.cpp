#include "app/read/DifferenceList.h"

namespace app {

namespace {

constexpr uint64_t MIB = 1'048'576;

/** Adds the library's value of a fact that the engine has not written. */
void addUnlessKnown(std::string const& fact, bool isKnown, LibraryValue const& library,
    std::string const& reason, DifferenceList& list)
{
    if (!isKnown)
        list.add("", fact, library, reason);
}

double ratioOf(LibraryRecord const& record)
{
    return static_cast<double>(record.get<uint64_t>("getOperationProgress")) / 100;
}

void compareTimes(Recovery const& recovery, LibraryRecord const& record, DifferenceList& list)
{
    constexpr char const* NO_TIME = "the engine's file has no valid time for it";
    auto const time = [&record](char const* getter) { return record.get<int64_t>(getter); };
    addUnlessKnown("recover_start", recovery.recoverStart.has_value(), time("getRecoverStartTime"),
        NO_TIME, list);
    addUnlessKnown(
        "recover_end", recovery.recoverEnd.has_value(), time("getRecoverEndTime"), NO_TIME, list);
    if (recovery.operation < OPERATION_RESTORE)
        return;
    addUnlessKnown("restore_start", recovery.restoreStart.has_value(), time("getRestoreStartTime"),
        NO_TIME, list);
    addUnlessKnown("restore_end", recovery.restoreEnd.has_value(), time("getRestoreEndTime"),
        "the engine's file has no valid time for it; without any the library reports the present "
        "time",
        list);
}

void compareCounters(Recovery const& recovery, LibraryRecord const& record, DifferenceList& list)
{
    constexpr char const* NO_NUMBER = "the engine's file has no valid number for it";
    auto const number = [&record](char const* getter) { return record.get<uint64_t>(getter); };
    addUnlessKnown("done_ratio", recovery.percent.has_value(), ratioOf(record),
        "the engine's file lacks a number to compute it from", list);
    addUnlessKnown(
        "files_done", recovery.filesDone.has_value(), number("getFilesDone"), NO_NUMBER, list);
    addUnlessKnown(
        "files_total", recovery.filesTotal.has_value(), number("getTotalFiles"), NO_NUMBER, list);
    addUnlessKnown("bytes_done", recovery.megabytesDone.has_value(), number("getMBytesDone") * MIB,
        NO_NUMBER, list);
    addUnlessKnown("bytes_total", recovery.megabytesTotal.has_value(),
        number("getTotalMBytes") * MIB, NO_NUMBER, list);
    if (list.answer().source == "TotalFiles=0")
        list.add("", "files_total", number("getTotalFiles"),
            "the engine's file has 0, which the library reports as 1");
    addUnlessKnown("bytes_per_second", recovery.megabytesPerSecond.has_value(),
        static_cast<uint64_t>(record.get<double>("getThroughput") * double{MIB}),
        recovery.restoreStart ? "" : "the engine's file has no valid time for the restore's start",
        list);
}

}

/**
 * The recovery's figures are the library's own. Different are those that the engine has not
 * written, and for which the library has a value all the same.
 *
 * Without `getFailedOperationID` and `getLastError`, which are 0 and empty always.
 */
void compareRecovery(Recovery const& recovery, DifferenceList& list)
{
    if (list.records().empty())
        return;
    LibraryRecord const& record = list.records().front();
    compareTimes(recovery, record, list);
    if (recovery.operation >= OPERATION_RESTORE)
        compareCounters(recovery, record, list);
    else
        list.add("", "done_ratio", ratioOf(record),
            "before a restore the library reports all counters and rates as 0");
}

}
