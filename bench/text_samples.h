#pragma once

#include "bench/allocations.h"

#include <string>

namespace bench {

/** @return @p characters ASCII letters, digits and punctuation, as in paths and device names. */
std::string asciiText(unsigned characters);

/** @return @p characters in UTF-8; every third or fourth takes two or three bytes. */
std::string mixedText(unsigned characters);

// The same as wide strings.
std::wstring asciiWide(unsigned characters);
std::wstring mixedWide(unsigned characters);

}
