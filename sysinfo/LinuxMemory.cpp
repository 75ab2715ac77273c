#include "common/basic/processstream/src/UnixCommand.h"
#include "common/platform/trace.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/firmware_dump.h"

namespace sysinfo {

namespace {

class TracedDump final : public FirmwareDumpListener {
public:
    explicit TracedDump(traceobject& trace) : m_trace(trace) { }

    void line(std::string const& line) override { m_trace.write(5, "Parsing line: %s", line); }

    // Kept: what is named new is the section that ends.
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

}

bool LinuxSystemInformation::getMemoryInfo(uint64_t& totalKiB, uint64_t& freeKiB) const
{
    TRACE_SCOPE(
        "virtual bool sysinfo::LinuxSystemInformation::getMemoryInfo(uint64_t&, uint64_t&) const");
    bool const result = UNIXSystemInformation::getMemoryInfo(totalKiB, freeKiB);

    pstream_wrapper<dovrel::UnixCommand> dump("dmidecode");
    TracedDump listener(trace);
    uint64_t const sum = sumOfModules(dump, listener);

    unsigned const timeout = dump.outBuf().setTimeout(1000);
    dump.errBuf().setTimeout(1000);
    dump.outBuf().setTimeout(timeout);
    dump.errBuf().setTimeout(timeout);
    constexpr unsigned STEP_MS = 10;
    if (dump.command().exitCode(timeout, STEP_MS) == 0)
        trace.write(4, "dmidecode ran successfully, found: %d", sum);

    if (sum > totalKiB)
        totalKiB = sum;
    return result;
}

}
