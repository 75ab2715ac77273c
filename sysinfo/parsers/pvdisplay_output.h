#pragma once

#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace sysinfo {

/**
 * Reads the output of pvdisplay(8) -c: one physical volume per line, with colons between the
 * fields.
 *
 * @param found called with the second field of each line whose first field is exactly @p key. Kept:
 * the second field includes the colon that ends it.
 */
void readPhysicalVolumes(std::istream& output, std::string_view key,
    std::function<void(std::string const& device)> const& found);

}
