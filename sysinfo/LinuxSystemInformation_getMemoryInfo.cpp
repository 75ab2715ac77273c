#include "common/basic/processstream/src/UnixCommand.h"
#include "common/basic/processstream/src/process_exception.h"
#include "common/platform/CancellationBlock.h"
#include "common/platform/trace.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/parsers/dmidecode_output.h"

#include <algorithm>
#include <chrono>
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

/**
 * The output of a tool, with bounds that no real dump reaches: those of large servers have 200 KB
 * and are written in less than a second. A tool that writes without end must neither take the
 * host's memory nor hold the query.
 */
class BoundedOutput final : public pipestreambuf {
public:
    BoundedOutput(Command& command, Pipe& pipe)
        : pipestreambuf(command, pipe, std::ios_base::openmode())
    {
    }

    /** @return whether a bound ended the reading. */
    bool isCut() const { return m_isCut; }

    int_type underflow() override
    {
        m_isCut = m_left == 0 || Clock::now() >= m_end;
        if (m_isCut)
            return traits_type::eof();
        int_type const next = pipestreambuf::underflow();
        if (!traits_type::eq_int_type(next, traits_type::eof()))
            m_left -= std::min(m_left, static_cast<size_t>(egptr() - gptr()));
        return next;
    }

private:
    using Clock = std::chrono::steady_clock;

    bool m_isCut = false;
    size_t m_left = size_t{16} << 20;
    Clock::time_point const m_end = Clock::now() + std::chrono::seconds(60);
};

/** Runs dmidecode. @return the sum of the modules in KiB. */
uint64_t sumInstalledModules(traceobject& trace)
{
    dovrel::UnixCommand command("dmidecode");
    BoundedOutput output(command, command.stdInOut());
    pipestreambuf errors(command, command.stdErr(), std::ios_base::openmode());
    dovrel::pstream dump(&output);
    TracingListener listener(trace);
    uint64_t const sum = sumOfModules(dump, listener);

    // Kept: the time-outs are raised to a second and restored at once. The tool has the restored
    // one, a tenth of a second, to end: a tool that hangs must not block the host for longer.
    unsigned const timeout = output.setTimeout(1000);
    errors.setTimeout(1000);
    output.setTimeout(timeout);
    errors.setTimeout(timeout);
    // Even if the tool has ended meanwhile, the sum is not that of the machine.
    if (output.isCut())
        throw dovrel::ProcessException(dovrel::REASON_NOT_EXITED, __LINE__);
    constexpr unsigned STEP_MS = 10;
    if (command.exitCode(timeout, STEP_MS) == 0)
        trace.write(4, "dmidecode ran successfully, found: %d", sum);
    return sum;
}

}

bool LinuxSystemInformation::getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const
{
    DOVREL_TRACE_SCOPE(
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
