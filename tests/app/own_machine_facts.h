#pragma once

#include "tests/support/Json.h"

#include <cstdint>
#include <map>
#include <string>

/** The facts of the real machine, by the program and by the tools that everybody trusts. Each
 * function runs them; PATH must have the folders of system tools. */
namespace app_test {

/** Facts by their names, such as "sda: size". An unknown fact has no entry. */
using Facts = std::map<std::string, std::string>;

/** Facts that change all the time. */
using Figures = std::map<std::string, uint64_t>;

Facts systemByTools(); ///< uname(1), os-release(5), /proc/stat.
Facts systemByProgram();

Facts processorsByLscpu();
Facts processorsByProgram();

Figures memoryByFree();
Figures memoryByProgram();

Facts disksByLsblk();

/** Without the models, serial numbers and buses that lsblk(8) does not know. */
Facts disksByProgram();

/** The program's mounts as df(1) describes them, and the devices that df(1) lists. */
Facts mountsByDf();
Facts mountsByProgram();

Figures spaceByDf();
Figures spaceByProgram();

Facts adaptersByIp();
Facts adaptersByProgram();

/** @return a command's output without its last newline. */
std::string lineOf(std::string const& command);

/** @return the string as one word of a shell. */
std::string quoted(std::string const& text);

/** @param command a subject and its options. @return the program's document. */
testkit::Json readByProgram(std::string const& command);

/** Adds a fact; null and an empty string are unknown. */
void add(Facts& facts, std::string const& name, testkit::Json const& value);

std::string withSingleBlanks(std::string const& text);

}
