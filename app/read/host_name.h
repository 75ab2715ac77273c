#pragma once

#include <optional>
#include <string>

namespace app {

/** @return the machine's name, gethostname(2); nothing where it is empty. */
std::optional<std::string> hostName();

}
