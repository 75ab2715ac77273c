#pragma once

#include "sysinfo/SystemInformation.h"
#include "tests/support/narrow.h"

#include <string>

/** @return the record's description. */
inline std::string textOf(sysinfo::SystemInformation::Info const& record)
{
    return narrow(record.toString());
}
