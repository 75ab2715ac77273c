#include "app/read/DifferenceList.h"

namespace app {

namespace {

constexpr uint64_t MIB = 1'048'576;

/** The facts that the engine has not written, and for which the library has a value all the same.
 */
class Unwritten {
public:
    Unwritten(Recovery const& recovery, DifferenceList& list)
        : m_hasCounters(recovery.operation < OPERATION_RESTORE || recovery.filesDone
            || recovery.filesTotal || recovery.megabytesDone || recovery.megabytesTotal),
          m_list(list)
    {
    }

    /** Without any counter all facts have one reason, and so one note. */
    void addUnlessKnown(std::string const& fact, bool isKnown, LibraryValue const& library,
        std::string const& reason)
    {
        if (!isKnown)
            m_list.add("", fact, library,
                m_hasCounters ? reason : "the engine's file has no valid value for it");
    }

private:
    bool const m_hasCounters;
    DifferenceList& m_list;
};

double ratioOf(LibraryRecord const& record)
{
    return static_cast<double>(record.get<uint64_t>("getOperationProgress")) / 100;
}

void compareTimes(Recovery const& recovery, LibraryRecord const& record, Unwritten& facts)
{
    constexpr char const* NO_TIME = "the engine's file has no valid time for it";
    auto const time = [&record](char const* getter) { return record.get<int64_t>(getter); };
    facts.addUnlessKnown(
        "recover_start", recovery.recoverStart.has_value(), time("getRecoverStartTime"), NO_TIME);
    facts.addUnlessKnown(
        "recover_end", recovery.recoverEnd.has_value(), time("getRecoverEndTime"), NO_TIME);
    if (recovery.operation < OPERATION_RESTORE)
        return;
    facts.addUnlessKnown(
        "restore_start", recovery.restoreStart.has_value(), time("getRestoreStartTime"), NO_TIME);
    facts.addUnlessKnown("restore_end", recovery.restoreEnd.has_value(), time("getRestoreEndTime"),
        "the engine's file has no valid time for it; without any the library reports the present "
        "time");
}

void compareCounters(
    Recovery const& recovery, LibraryRecord const& record, Unwritten& facts, DifferenceList& list)
{
    constexpr char const* NO_NUMBER = "the engine's file has no valid number for it";
    auto const number = [&record](char const* getter) { return record.get<uint64_t>(getter); };
    facts.addUnlessKnown("done_ratio", recovery.percent.has_value(), ratioOf(record),
        "the engine's file lacks a number to compute it from");
    facts.addUnlessKnown(
        "files_done", recovery.filesDone.has_value(), number("getFilesDone"), NO_NUMBER);
    facts.addUnlessKnown(
        "files_total", recovery.filesTotal.has_value(), number("getTotalFiles"), NO_NUMBER);
    facts.addUnlessKnown(
        "bytes_done", recovery.megabytesDone.has_value(), number("getMBytesDone") * MIB, NO_NUMBER);
    facts.addUnlessKnown("bytes_total", recovery.megabytesTotal.has_value(),
        number("getTotalMBytes") * MIB, NO_NUMBER);
    if (list.answer().source == "TotalFiles=0")
        list.add("", "files_total", number("getTotalFiles"),
            "the engine's file has 0, which the library reports as 1");
    facts.addUnlessKnown("bytes_per_second", recovery.megabytesPerSecond.has_value(),
        static_cast<uint64_t>(record.get<double>("getThroughput") * double{MIB}),
        recovery.restoreStart ? "" : "the engine's file has no valid time for the restore's start");
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
    Unwritten facts(recovery, list);
    compareTimes(recovery, record, facts);
    if (recovery.operation >= OPERATION_RESTORE)
        compareCounters(recovery, record, facts, list);
    else
        list.add("", "done_ratio", ratioOf(record),
            "before a restore the library reports all counters and rates as 0");
}

}
