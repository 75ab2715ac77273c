#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace app {

/** The choices of a table's reader. */
struct TableOptions {
    Layout layout;
    bool bytes = false; ///< Sizes as numbers of bytes.
    bool diskTree = false; ///< Each device below those that it is made of.
    std::string columns; ///< "NAME,SIZE", or "+SERIAL" for the usual ones and another.
};

/** An unknown column; the message names it. */
class ColumnError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** @return the rows of a table of disks: the disks, then the devices that are made of others. */
std::vector<Disk const*> diskRows(std::vector<Disk> const& disks);

/** @return a sentence for each filesystem that is mounted at several places. */
std::vector<std::string> furtherPlaces(std::vector<Mount> const& mounts, Layout const& layout);

/**
 * Writes a table for each part of the machine that could be read, a blank line between two, each
 * with its notes.
 *
 * @throws ColumnError
 */
void writeTables(Machine const& machine, TableOptions const& options, std::ostream& out);

/** @return whether the disks' table shows mount points: the mounts have to be read for it too. */
bool showsMountPoints(TableOptions const& options);

/** @throws ColumnError where one of the columns is unknown to the subject's table. */
void checkColumns(Subjects const& subjects, std::string const& columns);

/** Writes the names and the meanings of a subject's columns; nothing for a table without any. */
void writeColumns(Subject subject, Layout const& layout, std::ostream& out);

}
