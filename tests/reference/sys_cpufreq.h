#pragma once

#include <map>
#include <string>

namespace reference {

/** Reads a listing of files: path, tab and contents on each line. @return contents by path. */
std::map<std::string, std::string> readListing(std::string const& listing);

/** @return the speed that a file of cpufreq contains, in MHz; 0 without a number. The kernel writes
 * kHz. */
unsigned int megahertz(std::string const& contents);

}
