#pragma once

#include <string>
#include <vector>

namespace testkit {

/** @return the calls of the host's classes since the last call of this function, in order. */
std::vector<std::string> takeHostCalls();

/** Constructs and destroys an object of each of the host's classes. */
void useHostClasses();

}
