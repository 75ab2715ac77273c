#pragma once

#include <string>
#include <string_view>

namespace app {

/** @return dmidecode's output with zeros for the bytes of structures that it does not know. They
 * may hold serial numbers and addresses. The header of each stays. */
std::string withoutFirmwareBytes(std::string_view output);

}
