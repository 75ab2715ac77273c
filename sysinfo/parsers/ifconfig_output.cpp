#include "sysinfo/parsers/ifconfig_output.h"

#include "sysinfo/parsers/line_fields.h"

namespace sysinfo {

namespace {

constexpr CharacterSet NAME_ENDS(" \t\r\n\v:");

/** Two separators in a row have an empty field between them. */
constexpr CharacterSet SEPARATORS(" \t\n\r/");

/** Replaces in one pass: a match that a replacement creates stays. */
void replaceEach(std::string& line, std::string_view what, std::string_view by)
{
    size_t at = 0;
    while ((at = line.find(what, at)) != std::string::npos) {
        line.replace(at, what.size(), by);
        at += by.size();
    }
}

void readAdapterLine(std::string_view line, AdapterText& adapter)
{
    takeWhile(line, SEPARATORS); // Empty fields are no keywords.
    std::string_view keyword = takeUntil(line, SEPARATORS);
    while (!line.empty()) {
        line.remove_prefix(1); // The separator.
        std::string_view const value = takeUntil(line, SEPARATORS);
        if (keyword == "inet" || keyword == "inet6")
            adapter.addresses.emplace_back(value);
        else if (keyword == "netmask" || keyword == "Mask")
            adapter.netmasks.emplace_back(value);
        else if (keyword == "ether" || keyword == "HWaddr")
            adapter.hardwareAddresses.emplace_back(value);
        keyword = value;
    }
}

}

AdapterText readAdapters(std::istream& output, std::function<void(std::string const&)> const& found,
    std::function<void(AdapterText const&)> const& ended)
{
    AdapterText adapter;
    for (std::string line; std::getline(output, line);) {
        if (line.empty())
            continue;
        if (!NAME_ENDS.contains(line.front())) {
            if (!adapter.name.empty())
                ended(adapter);
            std::string_view rest = line;
            std::string_view const name = takeUntil(rest, NAME_ENDS);
            adapter.name = name.substr(0, name.find('\0'));
            adapter.addresses.clear();
            adapter.netmasks.clear();
            adapter.hardwareAddresses.clear();
            found(adapter.name);
        }
        if (line.find(':') != std::string::npos) { // Both prefixes contain one.
            replaceEach(line, "addr:", "");
            replaceEach(line, "Mask:", "Mask ");
        }
        readAdapterLine(line, adapter);
    }
    return adapter;
}

}
