#pragma once

#include <optional>
#include <string>

namespace app {

/** @return the name of the hypervisor that the machine runs under, "none" on bare metal, "other"
 * for one without a known sign; nothing where neither can be told. */
std::optional<std::string> virtualMachine();

/** @return the name of the container manager, "none" outside of a container; nothing
 * where only root can tell. */
std::optional<std::string> container();

}
