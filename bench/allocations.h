#pragma once

namespace bench {

/**
 * @return the number of calls of the global operator new so far, also from libraries: the program's
 * operator takes precedence over the C++ library's.
 */
unsigned long allocations() noexcept;

}
