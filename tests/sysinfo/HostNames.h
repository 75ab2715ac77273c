#pragma once

#include <string>
#include <vector>

namespace testkit {

/** @return the functions of the host's own classes that ran since the last call, in order. */
std::vector<std::string> takeHostCalls();

/** Makes and ends an object of each of the host's own classes. */
void useHostClasses();

}
