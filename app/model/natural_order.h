#pragma once

#include <string>

namespace app {

/** @return whether @p first stands before @p second in natural order: numbers within names count
 * as numbers, so that "disk2" stands before "disk10". */
bool naturallyBefore(std::string const& first, std::string const& second);

}
