#include "common/basic/IniFile.h"
#include "common/basic/SourceFile.h"
#include "common/basic/text_cast.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/UNIXSystemInformation.h"
#include "sysinfo/parsers/recovery_status.h"

#include <atomic>
#include <ctime>

using dovrel::IniFile;
using dovrel::string;

namespace sysinfo {

namespace {

enum Operation : int { IDLE = 1000, RESTORE = 5000, FINAL_SYNC = 5500 };

bool isLoaded(IniFile const& file)
{
    return file.savedError() == 0 && file.errorText().empty();
}

/** @return the local time in @p text as mktime(3) returns it. Kept: if strptime(3) fails, the
 * fields that it has not set are 0. Hosts only compare these times with each other. */
long toTime(string const& text)
{
    tm brokenDown{};
    ::strptime(text, "%d-%m-%Y %H:%M:%S", &brokenDown);
    return static_cast<long>(::mktime(&brokenDown));
}

/** Remembers the error code of the last failure. */
class LastFailure {
public:
    /** @return true if @p code differs from the code of the previous call. */
    bool changesTo(int code)
    {
        uint32_t hash = 0;
        string const text = dovrel::str_cast(code);
        for (char const* at = text; *at != '\0'; ++at)
            hash = hash * 101 + static_cast<uint32_t>(static_cast<signed char>(*at));
        return m_hash.exchange(hash, std::memory_order_relaxed) != hash;
    }

private:
    std::atomic<uint32_t> m_hash{0};
};

/** Kept: any answer of the operator requests the final synchronisation, "0" too. */
bool isFinalSyncRequested(IniFile const& answers)
{
    return isLoaded(answers) && !answers.ReadString(L"AdvancedOptions", L"FinalSync", L"").empty();
}

int64_t readCounter(IniFile const& status, string const& section, string const& key)
{
    string text;
    constexpr long long MISSING = -1;
    return status.lookupString(section, key, text) ? dovrel::literal_cast<long long>(text, MISSING)
                                                   : MISSING;
}

RestoreCounters readCounters(IniFile const& status)
{
    string const section(L"RestoreStatus");
    RestoreCounters counters;
    counters.totalFiles = readCounter(status, section, L"TotalFiles");
    counters.filesDone = readCounter(status, section, L"FilesDone");
    counters.totalBytes = readCounter(status, section, L"TotalBytes");
    counters.bytesDone = readCounter(status, section, L"BytesDone");
    return counters;
}

/** @return the engine's own percentage, which replaces the computed one; no value if there is none.
 * Opens a regular file only: any user can create files in /tmp, and opening a FIFO or a device may
 * block or have effects. */
std::optional<int> readPercentage()
{
    dovrel::SourceFile file("/tmp/percent", dovrel::SourceKind::regular);
    int percentage = -1;
    // A failed read may have cut the number: the "7" of "73" is a percentage too.
    if (file >> percentage && file.readError() == 0 && percentage >= 0 && percentage <= 100)
        return percentage;
    return std::nullopt;
}

}

UNIXSystemInformation::UNIXCloneInfo::UNIXCloneInfo(unsigned int operationID,
    unsigned int failedOperationID, unsigned int operationProgress, unsigned int totalFiles,
    unsigned int totalMBytes, unsigned int filesDone, unsigned int mbytesDone,
    long recoverStartTime, long recoverEndTime, long restoreStartTime, long restoreEndTime,
    double throughput, string lastError)
    : m_operationID(operationID), m_failedOperationID(failedOperationID),
      m_operationProgress(operationProgress), m_totalFiles(totalFiles), m_totalMBytes(totalMBytes),
      m_filesDone(filesDone), m_mbytesDone(mbytesDone), m_recoverStartTime(recoverStartTime),
      m_recoverEndTime(recoverEndTime), m_restoreStartTime(restoreStartTime),
      m_restoreEndTime(restoreEndTime), m_throughput(throughput), m_lastError(std::move(lastError))
{
}

UNIXSystemInformation::UNIXCloneInfo::~UNIXCloneInfo() = default;

string UNIXSystemInformation::UNIXCloneInfo::toString() const
{
    return L"Progress: " + dovrel::str_cast(m_filesDone) + L" / " + dovrel::str_cast(m_totalFiles)
        + L" operation = " + dovrel::str_cast(m_operationID);
}

void UNIXSystemInformation::UNIXCloneInfo::destroy()
{
    dovrel::deleteUnlessNull(this);
}

SystemInformation::CloneInfo* UNIXSystemInformation::UNIXCloneInfo::clone() const
{
    return new UNIXCloneInfo(*this);
}

dovrel::value_ptr<SystemInformation::CloneInfo> UNIXSystemInformation::getCloneInfo(
    bool& unavailable) const
{
    DOVREL_TRACE_SCOPE("virtual dovrel::value_ptr<sysinfo::SystemInformation::CloneInfo> "
                       "sysinfo::UNIXSystemInformation::getCloneInfo(bool&) const");
    dovrel::CancellationBlock const block;
    unavailable = true;
    IniFile const status(L"/etc/dovrel/status.ini", true, false, false);
    IniFile const answers(L"/etc/dovrel/DRAnswer.ini", true, false, false);
    if (!isLoaded(status)) {
        // Kept: the same cause is traced once, as clients poll. A success in between does not reset
        // it.
        static LastFailure lastFailure;
        if (lastFailure.changesTo(status.savedError()))
            trace.write(
                1, "Failed to open status.ini. %s: %d", status.errorText(), status.savedError());
        return {};
    }

    using Record = dovrel::value_ptr<CloneInfo>;
    string const main(L"main");
    string const none;
    long const recoverStart = toTime(status.ReadString(main, L"RecoverStart", none));
    long const recoverEnd = toTime(status.ReadString(main, L"RecoverEnd", none));
    long const now = static_cast<long>(::time(nullptr));
    string const statusText = status.ReadString(main, L"Status", none);
    if (statusText.empty()) {
        trace.write(1, "Failed to read \"Status\" from status.ini");
        return {};
    }
    int code = dovrel::literal_cast<int>(statusText, 0);
    if (code == IDLE)
        trace.write(5, "Idle state encountered");
    if (code < RESTORE) {
        Record record(new UNIXCloneInfo(static_cast<unsigned int>(code), 0, 0, 0, 0, 0, 0,
            recoverStart, recoverEnd, 0, now, 0.0, L""));
        unavailable = false;
        return record;
    }
    if (code == RESTORE && isFinalSyncRequested(answers))
        code = FINAL_SYNC;

    long const restoreStart = toTime(status.ReadString(main, L"RestoreStart", none));
    string const restoreEndText = status.ReadString(main, L"RestoreEnd", none);
    long const restoreEnd = restoreEndText.empty() ? now : toTime(restoreEndText);

    RestoreCounters const counters = readCounters(status);
    trace.write(5, "Read: %d / %d and %d / %d", counters.totalFiles, counters.filesDone,
        counters.totalBytes, counters.bytesDone);

    RestoreMetrics metrics = restoreMetrics(counters, ::difftime(restoreEnd, restoreStart));
    if (std::optional<int> const percentage = readPercentage())
        metrics.percentage = *percentage;
    trace.write(5, "Calculated metrics. Done %d/%d files, %d/%d MB, percentage: %d",
        counters.filesDone, metrics.totalFiles, metrics.doneMB, metrics.totalMB,
        metrics.percentage);
    trace.write(5, "Average throughput: %d MB/s", metrics.throughput);

    // Kept: figures beyond 32 bits wrap. The record has 32 bits for each.
    Record record(new UNIXCloneInfo(static_cast<unsigned int>(code), 0,
        static_cast<unsigned int>(metrics.percentage),
        static_cast<unsigned int>(metrics.totalFiles), static_cast<unsigned int>(metrics.totalMB),
        static_cast<unsigned int>(counters.filesDone), static_cast<unsigned int>(metrics.doneMB),
        recoverStart, recoverEnd, restoreStart, restoreEnd,
        static_cast<unsigned int>(metrics.throughput), L""));
    unavailable = false;
    return record;
}

}
