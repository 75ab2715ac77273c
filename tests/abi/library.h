#pragma once

#include <string>

/** @return the path of the library's file that this program has loaded. */
std::string libraryPath();
