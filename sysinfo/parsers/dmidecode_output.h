#pragma once

#include <cstdint>
#include <istream>
#include <string>

namespace sysinfo {

/** Hears what the reader of a firmware dump does, line by line; for the trace. */
class FirmwareDumpListener {
public:
    virtual void line(std::string const& line);

    /** @param left the header of the section before; empty at the first. */
    virtual void sectionLeft(std::string const& left);

    virtual void seekFailed();

    /** A size line, as far as its three fields could be read. */
    virtual void sizeLine(std::string const& label, uint64_t number, std::string const& unit);

    virtual void sizeLineIgnored(std::string const& line);

protected:
    ~FirmwareDumpListener() = default;
};

/**
 * Adds up the memory modules in the output of dmidecode(8).
 *
 * Counts the lines that contain "Size:" in sections headed exactly "Memory Device" and have a
 * number as their second field. Such a line is sought back to and read as fields, so one that the
 * stream has no longer at hand is left out. Units "MB", "GB" and "TB" are taken for binary ones;
 * any other counts as KiB, the unit of old versions' "kB".
 *
 * @return the sum in KiB.
 */
uint64_t sumOfModules(std::istream& dump, FirmwareDumpListener& listener);

}
