#include "sysinfo/parsers/dmidecode_output.h"

#include "sysinfo/parsers/line_fields.h"

#include <limits>

namespace sysinfo {

namespace {

constexpr CharacterSet INDENTATION(" \t\r\n\v");

uint64_t inKiB(uint64_t number, std::string const& unit)
{
    if (unit == "MB")
        return number << 10;
    if (unit == "GB")
        return number << 20;
    if (unit == "TB")
        return number << 30;
    return number;
}

bool hasSecondWord(std::string_view line)
{
    takeWord(line);
    return !takeWord(line).empty();
}

/** Reads the fields of the size line that was just read as a whole. @return what it adds. */
uint64_t readSizeLine(std::istream& dump, std::string const& line, FirmwareDumpListener& listener)
{
    // Lands behind the line's first character, a blank, as its newline was read too.
    dump.seekg(-static_cast<std::streamoff>(line.length()), std::ios_base::cur);
    bool const sought = !dump.fail();
    if (!sought)
        listener.seekFailed();

    std::string label;
    uint64_t number = 0;
    std::string unit;
    dump >> label;
    // Without a second field the number would be looked for on the next line, which would be lost.
    bool const complete = hasSecondWord(line) && dump >> number >> unit;
    listener.sizeLine(label, number, unit);
    if (!complete) {
        listener.sizeLineIgnored(line);
        dump.clear();
        // The rest of the line would pass for a section's header.
        if (sought)
            dump.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        return 0;
    }
    return inKiB(number, unit);
}

}

void FirmwareDumpListener::line(std::string const&)
{
}
void FirmwareDumpListener::sectionLeft(std::string const&)
{
}
void FirmwareDumpListener::seekFailed()
{
}
void FirmwareDumpListener::sizeLine(std::string const&, uint64_t, std::string const&)
{
}
void FirmwareDumpListener::sizeLineIgnored(std::string const&)
{
}

uint64_t sumOfModules(std::istream& dump, FirmwareDumpListener& listener)
{
    uint64_t sum = 0;
    std::string section;
    std::string line;
    while (dump.good()) {
        std::getline(dump, line);
        listener.line(line);
        if (line.empty())
            continue;
        if (!INDENTATION.contains(line.front())) {
            listener.sectionLeft(section);
            section = line;
            continue;
        }
        if (section == "Memory Device" && line.find("Size:") != std::string::npos)
            sum += readSizeLine(dump, line, listener);
    }
    return sum;
}

}
