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

/** Adds why a fact is unknown: a problem where a file of it cannot be read, else @p reason as that
 * of a fact that this machine does not have. */
void addUnknown(Machine& machine, Subject subject, std::string const& fact,
    UnreadableFiles const& unreadable, std::string const& reason, std::string const& source);

/** @return why a file that could be read does not have a fact: "there is no FILE", or "FILE does
 * not have it". */
std::string absenceIn(std::string const& file);

/** @return "1 entry was left out", "3 entries were left out". */
std::string leftOut(size_t entries);

}
