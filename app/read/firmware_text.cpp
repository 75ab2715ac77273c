#include "app/read/firmware_text.h"

#include "app/read/kernel_file.h"

#include <algorithm>
#include <iterator>

namespace app {

namespace {

constexpr char const* PLACEHOLDERS[] = {"Default string", "INVALID", "N/A", "None",
    "Not Applicable", "Not Available", "Not Specified", "OEM", "System Product Name",
    "System Version", "System manufacturer", "To Be Filled By O.E.M.", "To be filled by O.E.M.",
    "Unknown", "empty"};

}

bool isPlaceholder(std::string const& text)
{
    return std::find(std::begin(PLACEHOLDERS), std::end(PLACEHOLDERS), text)
        != std::end(PLACEHOLDERS);
}

std::optional<std::string> firmwareText(std::string const& name)
{
    auto text = readLine("/sys/class/dmi/id/" + name);
    return text && isPlaceholder(*text) ? std::nullopt : text;
}

}
