#pragma once

#include "app/write/TextTable.h"

#include <cstddef>
#include <string>
#include <vector>

/**
 * The three descriptors that every program is started with.
 *
 * Standard output is written once, at the end and in one piece: so an error of it can be told from
 * success, and nothing is lost where the program leaves without the C library's own flush. A
 * command that follows something writes each piece as it comes, by the same function.
 */
namespace app {

/**
 * Opens /dev/null at each of the descriptors 0 to 2 that the caller left closed.
 *
 * A file that is opened later must not be given one of these numbers, or messages would end up in
 * it. Standard output is opened for reading, so that writing to it still fails.
 */
void occupyStandardDescriptors() noexcept;

/** Writes the whole text. @return 0, or the errno of the write that failed. write(2). */
int writeWhole(int descriptor, std::string const& text) noexcept;

/** @return the columns of the terminal at @p descriptor; 80 where it does not report them, as a
 * serial line. ioctl_tty(2). */
size_t terminalColumns(int descriptor) noexcept;

/** @return the form of lines for @p descriptor, which may be a terminal. */
Layout terminalLayout(int descriptor) noexcept;

/** @return the lines of a message with the program's name before it. */
std::vector<std::string> messageLines(std::string const& message, Layout const& layout);

/** Writes a message with the program's name before it to standard error, in one piece; broken at
 * blanks where that is a terminal. */
void complain(std::string const& message);

}
