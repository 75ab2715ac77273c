#pragma once

#include <string>
#include <vector>

/** Files of the folder that the preloaded object and the program share. */
namespace app {

/** @return the whole file. @throws std::system_error */
std::string storedText(std::string const& path);

/** Writes a file that only its owner can read, and the folders of its path.
 * @throws std::system_error */
void store(std::string const& path, std::string const& text);

/** @return the name of a tool's files, a hash of its arguments. */
std::string toolFileName(std::vector<std::string> const& command);

}
