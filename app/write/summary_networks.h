#pragma once

#include "app/model/Adapter.h"

#include <cstddef>
#include <string>
#include <vector>

namespace app {

/**
 * @return the summary's lines for the adapters and the name servers.
 *
 * The adapter of the default route stands first. @param most where there are more adapters, one
 * line fewer, and another one that counts the others.
 */
std::vector<std::string> networkLines(Networks const& networks, size_t most);

}
