#pragma once

#include <stdexcept>
#include <string>

namespace app {

/** An archive is no recording, or a recording does not fit an archive; the message names the item
 * and the reason. */
class ArchiveError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @param item the path of a file, the member of an archive; shortened where it is very long.
 * @throws ArchiveError */
[[noreturn]] void refuse(std::string const& item, std::string const& reason);

}
