#pragma once

#include <cstdlib>

namespace fuzz {

/** Ends the program, which libFuzzer reports with the input, unless @p holds. */
inline void expect(bool holds)
{
    if (!holds)
        std::abort();
}

}
