#pragma once

#include "common/basic/wide_string.h"

#include <string>

/** @return a copy of @p text in the locale's encoding. */
inline std::string narrow(dovrel::string const& text)
{
    return static_cast<char const*>(text);
}
