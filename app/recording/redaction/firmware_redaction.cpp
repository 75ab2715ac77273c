#include "app/recording/redaction/firmware_redaction.h"

#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/find_values.h"
#include "app/recording/redaction/lines.h"

namespace app {

namespace {

constexpr unsigned FIRST_OF_MAKERS = 128; ///< Structures of these types are the makers' own.

/** What somebody can have typed in; dmidecode(8). Serial numbers and asset tags have keys. */
constexpr std::string_view FREE_TEXTS[] = {"Location In Chassis: ", "SKU Number: ", "Location: "};

/** The keys of OEM strings and of configuration options, "String 1: ". */
constexpr std::string_view NUMBERED[] = {"String ", "Option "};

/** Follows the lines of dmidecode's output. */
class FirmwareLines {
public:
    void next(std::string_view line)
    {
        constexpr std::string_view TYPE = "DMI type ";
        if (size_t const place = line.find(TYPE); place != std::string_view::npos) {
            m_type = 0;
            for (char const c : line.substr(place + TYPE.size())) {
                if (!isDigit(c))
                    break;
                m_type = m_type * 10 + static_cast<unsigned>(c - '0');
            }
        }
        if (line.substr(0, 2) != "\t\t")
            m_title = line;
    }

    bool isBytes() const { return m_title == "\tHeader and Data:"; }
    bool isString() const { return m_title == "\tStrings:" && m_type >= FIRST_OF_MAKERS; }

private:
    unsigned m_type = 0;
    std::string_view m_title;
};

bool isFirmware(std::string_view output)
{
    return output.find("DMI type ") != std::string_view::npos;
}

void findFreeText(std::string_view line, RedactedValues& values)
{
    auto const add = [&](std::string_view before, std::string_view text) {
        values.addFreeText(RedactedKind::SERIAL_NUMBER, text, before);
    };
    for (std::string_view const key : FREE_TEXTS)
        if (line.substr(0, key.size()) == key)
            add(key, line.substr(key.size()));
    for (std::string_view const key : NUMBERED) {
        size_t const end = line.find(": ");
        if (line.substr(0, key.size()) == key && end != std::string_view::npos
            && std::all_of(line.begin() + static_cast<std::ptrdiff_t>(key.size()),
                line.begin() + static_cast<std::ptrdiff_t>(end), isDigit))
            add(line.substr(0, end + 2), line.substr(end + 2));
    }
}

}

void findInFirmware(std::string_view output, RedactedValues& values)
{
    if (!isFirmware(output))
        return;
    values.protectKeys(output);
    FirmwareLines state;
    for (std::string_view const line : linesIn(output)) {
        state.next(line);
        if (line.substr(0, 2) == "\t\t" && state.isString())
            values.addFreeText(RedactedKind::SERIAL_NUMBER, line.substr(2), "\t\t");
        else if (line.substr(0, 1) == "\t")
            findFreeText(line.substr(1), values);
    }
}

std::string withoutFirmwareBytes(std::string_view output)
{
    constexpr size_t HEADER = 3 * 4; // characters: type, length and two bytes of the handle
    if (!isFirmware(output))
        return std::string(output);
    std::string result(output);
    FirmwareLines state;
    bool isFirst = false;
    for (std::string_view const line : linesIn(output)) {
        state.next(line);
        bool const isTitle = line.substr(0, 2) != "\t\t";
        auto const begin = static_cast<size_t>(line.data() - output.data());
        for (size_t i = isFirst ? 2 + HEADER : 2; !isTitle && state.isBytes() && i < line.size();
             ++i)
            if (isHexDigit(line[i]))
                result[begin + i] = '0';
        isFirst = isTitle;
    }
    return result;
}

}
