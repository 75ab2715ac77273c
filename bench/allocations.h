#pragma once

namespace bench {

/**
 * Calls of the global operator new so far, those of the libraries included: the program's own
 * operator takes precedence over the C++ library's.
 */
unsigned long allocations() noexcept;

}
