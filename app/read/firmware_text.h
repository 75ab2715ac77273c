#pragma once

#include <optional>
#include <string>

namespace app {

/** @return a text of the firmware, /sys/class/dmi/id/NAME; nothing if it is missing, empty or a
 * placeholder. The kernel's Documentation/ABI/testing/sysfs-class-dmi. */
std::optional<std::string> firmwareText(std::string const& name);

/** @return whether a text is a placeholder, such as "To Be Filled By O.E.M.". */
bool isPlaceholder(std::string const& text);

}
