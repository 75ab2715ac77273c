#pragma once

#include <cstdint>
#include <istream>
#include <string>

namespace sysinfo {

/** Receives the steps of `sumOfModules`, for the trace. The operations of this class do nothing. */
class FirmwareDumpListener {
public:
    /** Called for every line, empty ones included. */
    virtual void line(std::string const&) { }

    /** Called at each section header with the header of the previous section, which is empty at the
     * first one. */
    virtual void sectionLeft(std::string const&) { }

    virtual void seekFailed() { }

    /** Called for every size line with its label, number and unit. A field that could not be read
     * is empty or 0. */
    virtual void sizeLine(std::string const&, uint64_t, std::string const&) { }

    /** Called after `sizeLine` if a field could not be read. */
    virtual void sizeLineIgnored(std::string const&) { }

protected:
    ~FirmwareDumpListener() = default;
};

/**
 * Adds up the memory modules in the output of dmidecode(8).
 *
 * Counts each line that contains "Size:" and has a number as its second word, in the sections whose
 * header is exactly "Memory Device". Units "MB", "GB" and "TB" are binary. Any other unit counts as
 * KiB: old versions of the tool print "kB" and "Kbyte".
 *
 * Seeks back to each such line and reads it as fields. If the stream cannot seek back that far, the
 * line does not count.
 *
 * @return the sum in KiB.
 */
uint64_t sumOfModules(std::istream& dump, FirmwareDumpListener& listener);

}
