#include "app/recovery_state.h"

#include "app/Session.h"

#include <sysinfo/SystemInformation.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <limits>
#include <locale>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace app {

namespace {

constexpr char const* SUBJECT = "the recovery";

/** Without it the library has nothing to tell, and says only that it has not. */
constexpr char const* STATUS_FILE = "/etc/dovrel/status.ini";

/** A percentage that the engine tells is in here. */
constexpr char const* PERCENT_FILE = "/tmp/percent";

enum Operation : int32_t { IDLE = 1000, RESTORE = 5000, FINAL_SYNC = 5500 };

/** The engine's counters as the library has read them; -1 where it has found none. */
struct Counters {
    int64_t filesTotal = -1;
    int64_t filesDone = -1;
    int64_t bytesTotal = -1;
    int64_t bytesDone = -1;
};

bool statusFileIsMissing()
{
    struct stat ignored { };
    return stat(STATUS_FILE, &ignored) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

/** The library's time of an empty text lies before 1970, and so does that of most odd ones. It is
 * -1 where time_t cannot tell it. No recovery was started then. */
std::optional<int64_t> knownTime(long seconds)
{
    return seconds > 0 ? std::optional<int64_t>(seconds) : std::nullopt;
}

/** A counter of -1 comes as the largest number of 32 bits. */
std::optional<uint32_t> knownCounter(unsigned count)
{
    return count == std::numeric_limits<uint32_t>::max() ? std::nullopt
                                                         : std::optional<uint32_t>(count);
}

std::optional<uint32_t> knownRate(double rate)
{
    constexpr double LARGEST = std::numeric_limits<uint32_t>::max();
    return rate >= 0 && rate <= LARGEST ? std::optional(static_cast<uint32_t>(rate)) : std::nullopt;
}

/** A record has 0 MB for bytes that nobody has counted, but the trace tells them apart. */
std::optional<Counters> tracedCounters(std::vector<TraceMessage> const& messages)
{
    constexpr char const* BEGINNING = "Read: ";
    std::optional<Counters> found;
    for (TraceMessage const& message : messages) {
        if (!message.text.starts_with(BEGINNING))
            continue;
        std::istringstream text(message.text);
        text.imbue(std::locale::classic());
        Counters read;
        std::string word;
        if (text >> word >> read.filesTotal >> word >> read.filesDone >> word >> read.bytesTotal
            >> word >> read.bytesDone)
            found = read;
    }
    return found;
}

/** What the record alone tells, for a library without a trace: a restore of 0 MB is none. */
Counters recordedCounters(sysinfo::SystemInformation::CloneInfo const& record)
{
    Counters counters;
    if (auto const total = knownCounter(record.getTotalFiles()))
        counters.filesTotal = *total;
    if (auto const done = knownCounter(record.getFilesDone()))
        counters.filesDone = *done;
    if (record.getTotalMBytes() > 0) {
        counters.bytesTotal = int64_t{record.getTotalMBytes()} << 20;
        counters.bytesDone = int64_t{record.getMBytesDone()} << 20;
    }
    return counters;
}

/** The share by which the library counts a half of the work; missing counters are counted as the -1
 * that they are. */
int64_t halfShare(int64_t done, int64_t total)
{
    constexpr int64_t WEIGHT = 50;
    constexpr int64_t LARGEST = std::numeric_limits<int64_t>::max() / WEIGHT;
    return std::clamp(done, -LARGEST, LARGEST) * WEIGHT / (total == 0 ? 1 : total);
}

/** @return the percentage that the engine tells, where it tells one. The library takes it for its
 * own and does not say so. */
std::optional<unsigned> enginesPercent()
{
    // Anybody may have put anything there, a pipe that would block among it.
    int const file = open(PERCENT_FILE, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (file == -1)
        return std::nullopt;
    struct stat status { };
    std::array<char, 32> text;
    ssize_t const length = fstat(file, &status) == 0 && S_ISREG(status.st_mode)
        ? read(file, text.data(), text.size())
        : 0;
    close(file);
    std::istringstream words(
        std::string(text.data(), static_cast<size_t>(std::max<ssize_t>(length, 0))));
    words.imbue(std::locale::classic());
    unsigned percent = 0;
    return words >> percent ? std::optional(percent) : std::nullopt;
}

/** The percentage of missing counters is one in name only: without any it is 100. One that differs
 * from it, or that stands in the engine's own file, has been told by the engine. */
std::optional<unsigned> knownPercent(unsigned percent, Counters const& counters)
{
    bool const counted = counters.filesTotal >= 0 && counters.filesDone >= 0
        && counters.bytesTotal >= 0 && counters.bytesDone >= 0;
    if (counted)
        return percent;
    int64_t const computed = halfShare(counters.filesDone, counters.filesTotal)
        + halfShare(counters.bytesDone, counters.bytesTotal);
    if (computed == int64_t{percent} && enginesPercent() != percent)
        return std::nullopt;
    return percent <= 100 ? std::optional(percent) : std::nullopt;
}

/** @param earliest, latest when the library was asked, for it gives the end of a restore that runs
 * as the time of asking. */
Recovery recoveryOf(sysinfo::SystemInformation::CloneInfo const& record,
    std::optional<Counters> const& traced, std::time_t earliest, std::time_t latest)
{
    Recovery recovery;
    recovery.operation = static_cast<int32_t>(record.getOperationID());
    recovery.recoverStart = knownTime(record.getRecoverStartTime());
    recovery.recoverEnd = knownTime(record.getRecoverEndTime());
    // Before the restore phase the record is filled up with zeros.
    if (recovery.operation < RESTORE)
        return recovery;

    Counters const counters = traced ? *traced : recordedCounters(record);
    recovery.percent = knownPercent(record.getOperationProgress(), counters);
    recovery.filesDone = knownCounter(record.getFilesDone());
    recovery.filesTotal = knownCounter(record.getTotalFiles());
    if (counters.bytesDone >= 0)
        recovery.megabytesDone = record.getMBytesDone();
    if (counters.bytesTotal >= 0)
        recovery.megabytesTotal = record.getTotalMBytes();
    recovery.restoreStart = knownTime(record.getRestoreStartTime());
    // The average over the decades since an unknown start is none.
    if (recovery.restoreStart && counters.bytesDone >= 0)
        recovery.megabytesPerSecond = knownRate(record.getThroughput());
    if (record.getRestoreEndTime() < earliest || record.getRestoreEndTime() > latest)
        recovery.restoreEnd = knownTime(record.getRestoreEndTime());
    return recovery;
}

/** @return whether the answer is a recovery, or that there is none. */
bool ask(Session& session, RecoveryAnswer& answer)
{
    constexpr unsigned LEVEL_OF_THE_COUNTERS = 5;
    auto const trace = session.record(LEVEL_OF_THE_COUNTERS);
    bool unavailable = true;
    bool const missingBefore = statusFileIsMissing();
    std::time_t const earliest = std::time(nullptr);
    auto const record = session.service().getCloneInfo(unavailable);
    std::time_t const latest = std::time(nullptr);
    std::vector<TraceMessage> const messages = trace.messages();
    if (record) {
        answer.recovery = recoveryOf(*record, tracedCounters(messages), earliest, latest);
        return true;
    }
    for (TraceMessage const& message : messages)
        if (message.level == 1)
            answer.cause = message.text;
    answer.missing = missingBefore || statusFileIsMissing();
    return answer.missing;
}

}

RecoveryPhase Recovery::phase() const
{
    if (operation == IDLE)
        return RecoveryPhase::IDLE;
    if (operation < RESTORE)
        return RecoveryPhase::EARLY;
    if (operation == RESTORE)
        return RecoveryPhase::RESTORING;
    return operation == FINAL_SYNC ? RecoveryPhase::FINAL_SYNC : RecoveryPhase::LATER;
}

bool Recovery::isOver(int64_t now) const
{
    if (phase() == RecoveryPhase::IDLE)
        return true;
    // An end before the start is that of the recovery before this one.
    if (recoverEnd && (!recoverStart || *recoverEnd >= *recoverStart))
        return true;
    bool const restored = restoreEnd && (!restoreStart || *restoreEnd >= *restoreStart)
        && percent.value_or(100) >= 100;
    if (!restored || phase() == RecoveryPhase::LATER)
        return false;
    // The engine goes on to a later operation at once, if it does. An end to come is that of
    // another clock.
    constexpr int64_t SETTLED_SECONDS = 3;
    return now < *restoreEnd || now - *restoreEnd >= SETTLED_SECONDS;
}

std::optional<std::chrono::seconds> Recovery::timeLeft(int64_t now) const
{
    if (restoreEnd || !restoreStart || now <= *restoreStart)
        return std::nullopt;
    int64_t const elapsed = now - *restoreStart;
    if (megabytesDone && megabytesTotal && *megabytesDone > 0 && *megabytesTotal >= *megabytesDone)
        return std::chrono::seconds(
            elapsed * (int64_t{*megabytesTotal} - *megabytesDone) / *megabytesDone);
    if (percent && *percent > 0 && *percent <= 100)
        return std::chrono::seconds(elapsed * (100 - *percent) / *percent);
    return std::nullopt;
}

std::string phaseText(Recovery const& recovery)
{
    switch (recovery.phase()) {
    case RecoveryPhase::IDLE:
        return "idle";
    case RecoveryPhase::RESTORING:
        return "restoring";
    case RecoveryPhase::FINAL_SYNC:
        return "final sync";
    case RecoveryPhase::EARLY:
        return "early operation " + std::to_string(recovery.operation);
    case RecoveryPhase::LATER:
        break;
    }
    return "later operation " + std::to_string(recovery.operation);
}

bool readRecovery(Session& session, RecoveryAnswer& answer)
{
    return session.query(
        SUBJECT, [&] { return ask(session, answer); }, "the engine's status cannot be read");
}

bool pollRecovery(Session& session, RecoveryAnswer& answer)
{
    return session.query(SUBJECT, [&] {
        (void)ask(session, answer);
        return true;
    });
}

}
