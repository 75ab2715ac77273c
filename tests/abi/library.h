#pragma once

#include <string>

/** The library's file, as the dynamic linker found it for this program. */
std::string libraryPath();
