#pragma once

#include <cstdint>

namespace app {

/** @return a number below @p limit, which is at least 1; each is as likely. From getrandom(2), and
 * from /dev/urandom (random(4)) on a kernel without it.
 * @throws std::system_error where the kernel has neither. */
uint32_t randomBelow(uint32_t limit);

}
