#include "sysinfo/parsers/dmidecode_output.h"

#include "sysinfo/parsers/line_fields.h"

#include <exception>
#include <limits>
#include <new>

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

/** Extracts from @p dump. A failed read sets badbit, as with any stream; but running out of memory
 * throws std::bad_alloc, and leaves badbit among the stream's exceptions. */
template <class Extraction> void extract(std::istream& dump, Extraction extraction)
{
    std::ios_base::iostate const former = dump.exceptions();
    try {
        dump.exceptions(former | std::ios_base::badbit);
        extraction();
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const&) {
        // The stream has its badbit.
    }
    dump.exceptions(former);
}

bool hasSecondWord(std::string_view line)
{
    takeWord(line);
    return !takeWord(line).empty();
}

/** Reads the fields of @p line, the last line that was read. @return its size in KiB, 0 if it is
 * ignored. */
uint64_t readSizeLine(std::istream& dump, std::string const& line, FirmwareDumpListener& listener)
{
    // Moves to the line's second character, as its newline was read too. The first is a blank.
    dump.seekg(-static_cast<std::streamoff>(line.length()), std::ios_base::cur);
    bool const sought = !dump.fail();
    if (!sought)
        listener.seekFailed();

    std::string label;
    uint64_t number = 0;
    std::string unit;
    extract(dump, [&] { dump >> label; });
    // If the line has one word only, the number would be read from the next line, which would be
    // lost.
    bool const hasNumber = hasSecondWord(line);
    if (hasNumber)
        extract(dump, [&] { dump >> number >> unit; });
    bool const complete = hasNumber && !dump.fail();
    listener.sizeLine(label, number, unit);
    if (!complete) {
        listener.sizeLineIgnored(line);
        dump.clear();
        // The rest of the line would be taken for a section header.
        if (sought)
            dump.ignore(std::numeric_limits<std::streamsize>::max(), '\n');
        return 0;
    }
    return inKiB(number, unit);
}

}

uint64_t sumOfModules(std::istream& dump, FirmwareDumpListener& listener)
{
    uint64_t sum = 0;
    std::string section;
    std::string line;
    while (dump.good()) {
        extract(dump, [&] { std::getline(dump, line); });
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
