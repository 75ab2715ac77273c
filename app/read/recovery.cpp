#include "app/read/recovery.h"

#include "app/read/LibraryQueries.h"
#include "app/read/kernel_file.h"

#include <common/basic/IniFile.h>
#include <common/basic/text_cast.h>
#include <sysinfo/LinuxSystemInformation.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <limits>
#include <sys/stat.h>

namespace app {

namespace {

constexpr char const* STATUS_FILE = "/etc/dovrel/status.ini";

/** The engine's own percentage. */
constexpr char const* PERCENT_FILE = "/tmp/percent";

using Record = sysinfo::SystemInformation::CloneInfo;

bool statusFileIsMissing()
{
    struct stat ignored { };
    return stat(STATUS_FILE, &ignored) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

/** The engine's file, for the facts that a record does not have: which counters are written, and
 * whether the restore has ended. The record of a restore that runs has the time of the query as its
 * end. */
class StatusFile {
public:
    StatusFile() : m_file(STATUS_FILE, false, true, false) { }

    /** @return false for a counter that is missing, negative or no number. */
    bool hasCounter(char const* key) const
    {
        dovrel::string text;
        constexpr long long MISSING = -1;
        return m_file.lookupString("RestoreStatus", key, text)
            && dovrel::literal_cast<long long>(text, MISSING) >= 0;
    }

    bool hasAllCounters() const
    {
        return hasCounter("TotalFiles") && hasCounter("FilesDone") && hasCounter("TotalBytes")
            && hasCounter("BytesDone");
    }

    /** @return whether the total of the files is 0, which a record has as 1. */
    bool hasNoFiles() const
    {
        dovrel::string text;
        return hasCounter("TotalFiles") && m_file.lookupString("RestoreStatus", "TotalFiles", text)
            && dovrel::literal_cast<long long>(text, 1) == 0;
    }

    bool hasRestoreEnd() const { return !m_file.ReadString("main", "RestoreEnd", "").empty(); }

private:
    dovrel::IniFile const m_file;
};

/** The library's time of an empty text, and of most malformed ones, lies before 1970 or is -1. */
std::optional<int64_t> knownTime(long seconds)
{
    return seconds > 0 ? std::optional<int64_t>(seconds) : std::nullopt;
}

std::optional<uint32_t> knownRate(double rate)
{
    constexpr double LARGEST = std::numeric_limits<uint32_t>::max();
    return rate >= 0 && rate <= LARGEST ? std::optional(static_cast<uint32_t>(rate)) : std::nullopt;
}

/** @return whether the engine's file says @p percent. */
bool engineSays(unsigned percent)
{
    struct stat status { };
    // Anybody can make anything under this name, a FIFO without a writer for example.
    if (stat(PERCENT_FILE, &status) != 0 || !S_ISREG(status.st_mode))
        return false;
    std::ifstream file(PERCENT_FILE);
    unsigned said = 0;
    return file >> said && said == percent;
}

Recovery toRecovery(Record const& record, StatusFile const& status)
{
    Recovery recovery;
    recovery.operation = static_cast<int32_t>(record.getOperationID());
    recovery.recoverStart = knownTime(record.getRecoverStartTime());
    recovery.recoverEnd = knownTime(record.getRecoverEndTime());
    // Before the restore all further figures of a record are 0.
    if (recovery.operation < OPERATION_RESTORE)
        return recovery;

    // A percentage without all counters means something only where it is the engine's.
    unsigned const percent = record.getOperationProgress();
    if (status.hasAllCounters() || engineSays(percent))
        recovery.percent = percent;
    if (status.hasCounter("FilesDone"))
        recovery.filesDone = record.getFilesDone();
    if (status.hasCounter("TotalFiles"))
        recovery.filesTotal = record.getTotalFiles();
    if (status.hasCounter("BytesDone"))
        recovery.megabytesDone = record.getMBytesDone();
    if (status.hasCounter("TotalBytes"))
        recovery.megabytesTotal = record.getTotalMBytes();
    recovery.restoreStart = knownTime(record.getRestoreStartTime());
    // Without a start there is no time to average over.
    if (recovery.restoreStart && recovery.megabytesDone)
        recovery.megabytesPerSecond = knownRate(record.getThroughput());
    if (status.hasRestoreEnd())
        recovery.restoreEnd = knownTime(record.getRestoreEndTime());
    return recovery;
}

}

void readRecovery(Machine& machine, TraceOutput& trace)
{
    sysinfo::LinuxSystemInformation const library;
    LibraryAnswer& answer = machine.library[Subject::RECOVERY];
    answer.query = "getCloneInfo";
    trace.takeFailure();
    bool unavailable = true;
    bool const missingBefore = statusFileIsMissing();
    auto const begun = std::chrono::steady_clock::now();
    auto const record = library.getCloneInfo(unavailable);
    answer.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    if (record) {
        StatusFile const status;
        machine.recovery = toRecovery(*record, status);
        answer.source = status.hasNoFiles() ? "TotalFiles=0" : "";
        answer.records.push_back(toLibraryRecord(*record));
        return;
    }
    answer.outcome = LibraryAnswer::RETURNED_FALSE;
    answer.reason = "no recovery has been started";
    // A file that comes or goes during the query is missing, not unreadable.
    if (missingBefore || statusFileIsMissing())
        return;
    std::string const cause = trace.takeFailure();
    answer.reason = cause.empty() ? "the engine's status cannot be read" : cause;
    // The library's message does not say why a file cannot be opened.
    if (!readFile(STATUS_FILE))
        answer.reason = errorText(errno);
    machine.problems.push_back({Subject::RECOVERY, "the recovery", answer.reason, STATUS_FILE});
}

}
