#pragma once

#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace sysinfo {

/**
 * Reads the output of pvdisplay(8) -c: fields with colons between them, a physical volume a line.
 *
 * @param key what a line's first field must be, to the last character.
 * @param found called with the second field of each such line. Kept: with the colon that ends it.
 */
void readPhysicalVolumes(std::istream& output, std::string_view key,
    std::function<void(std::string const& device)> const& found);

}
