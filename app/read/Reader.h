#pragma once

#include "app/model/Machine.h"
#include "app/read/kernel_file.h"

#include <chrono>
#include <string>

/** The subjects, each filled from the kernel's files and calls. A source that cannot be read is a
 * problem of the machine. */
namespace app {

void readSystem(Machine& machine);
void readProcessors(Machine& machine);

/** The kernel's figures, not the modules. */
void readMemory(Machine& machine);
void readDisks(Machine& machine);
void readNetworks(Machine& machine);

/** Adds a problem whose reason is errno. */
void addProblem(
    Machine& machine, Subject subject, std::string const& fact, std::string const& source);

/** Adds one problem for all of the files, with the first one's path and reason; none where the list
 * is empty. */
void addUnreadable(
    Machine& machine, Subject subject, std::string const& fact, UnreadableFiles const& unreadable);

/** @return "1 entry was left out", "3 entries were left out". */
std::string leftOut(size_t entries);

}
