#include "common/basic/processstream/src/UnixCommand.h"
#include "common/basic/processstream/src/process_exception.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/parsers/dmidecode_output.h"

#include <algorithm>
#include <string>
#include <system_error>

namespace sysinfo {

namespace {

/** Writes the steps of the parser to the trace. */
class TracingListener final : public FirmwareDumpListener {
public:
    explicit TracingListener(traceobject& trace) : m_trace(trace) { }

    void line(std::string const& line) override { m_trace.write(5, "Parsing line: %s", line); }

    // Kept: the message "New section" contains the previous section. Readers of traces know it so.
    void sectionLeft(std::string const& left) override
    {
        m_trace.write(5, "New section: %s", left);
    }

    void seekFailed() override { m_trace.write(5, "Failed to seek?!"); }

    void sizeLine(std::string const& label, uint64_t number, std::string const& unit) override
    {
        m_trace.write(5, "Parsing size line: '%s' '%d' '%s'", label, number, unit);
    }

    void sizeLineIgnored(std::string const& line) override
    {
        m_trace.write(5, "Ignoring size line %s", line);
    }

private:
    traceobject& m_trace;
};

/** @return the reason for people. `what()` has only the numbers that hosts evaluate. */
std::string reasonOf(dovrel::ProcessException const& failure)
{
    std::string const error =
        failure.code() == 0 ? "" : ": " + std::generic_category().message(failure.code());
    switch (failure.reason()) {
    case dovrel::REASON_PSEUDO_TERMINAL:
        return "there is no pseudo-terminal for it" + error;
    case dovrel::REASON_PIPE:
        return "a pipe or a socket to it failed" + error;
    case dovrel::REASON_FORK:
        return "its process could not be started" + error;
    case dovrel::REASON_NOT_EXITED:
        return "it did not end in time, or a signal ended it";
    case dovrel::REASON_EXIT_STATUS:
        return "its exit status is lost, as where the host ignores SIGCHLD" + error;
    default:
        return "it cannot be run" + error;
    }
}

/** Runs dmidecode. @return the sum of the modules in KiB. */
uint64_t sumInstalledModules(traceobject& trace)
{
    pstream_wrapper<dovrel::UnixCommand> dump("dmidecode");
    TracingListener listener(trace);
    uint64_t const sum = sumOfModules(dump, listener);

    // Kept: the time-outs are raised to a second and restored at once. The tool has the restored
    // one, a tenth of a second, to end: a tool that hangs must not block the host for longer.
    unsigned const timeout = dump.outBuf().setTimeout(1000);
    dump.errBuf().setTimeout(1000);
    dump.outBuf().setTimeout(timeout);
    dump.errBuf().setTimeout(timeout);
    constexpr unsigned STEP_MS = 10;
    if (dump.command().exitCode(timeout, STEP_MS) == 0)
        trace.write(4, "dmidecode ran successfully, found: %d", sum);
    return sum;
}

}

bool LinuxSystemInformation::getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const
{
    TRACE_SCOPE(
        "virtual bool sysinfo::LinuxSystemInformation::getMemoryInfo(uint64_t&, uint64_t&) const");
    dovrel::CancellationBlock const block;
    bool const result = UNIXSystemInformation::getMemoryInfo(totalKiB, freeKiB);
    try {
        totalKiB = std::max(totalKiB, sumInstalledModules(trace));
    } catch (dovrel::ProcessException const& failure) {
        trace.write(1, "Failed to run dmidecode: %s", reasonOf(failure));
        throw;
    }
    return result;
}

}
