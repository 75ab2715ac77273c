#pragma once

#include <string>

namespace bench {

/** Replaces /sbin, for this process alone, by an empty folder in memory; `enterOwnMounts`. */
void replaceTools();

/** A tool in /sbin that prints a text, in the time that a shell and a small program take. @throws
 * std::exception */
void writeTool(std::string const& name, std::string const& output);

}
