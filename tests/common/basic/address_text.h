#pragma once

#include "common/basic/ip_address.h"
#include "tests/support/narrow.h"

#include <string>

/** @return the address as hosts print it. */
inline std::string textOf(dovrel::ip_address const& address)
{
    return narrow(address.toStringInternal());
}
