#pragma once

#include <string>

namespace app {

/** @return whether @p first stands before @p second in natural order: numbers within names count
 * as numbers, so that "disk2" stands before "disk10". */
bool naturallyBefore(std::string const& first, std::string const& second);

/** @return whether one block device's name stands before another's: in natural order, and as the
 * kernel counts the letters behind "sd", "hd", "vd", "xvd" and "dasd", "sdz" before "sdaa". */
bool diskBefore(std::string const& first, std::string const& second);

}
