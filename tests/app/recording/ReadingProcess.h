#pragma once

#include <string>

namespace app_test {

/** A reading of an archive in a child process, which may create no file. */
struct ReadingProcess {
    std::string message; ///< of its ArchiveError; "read" where there was none
    double seconds = 0; ///< of the processor, which other processes do not lengthen
    long kibibytes = 0; ///< the most memory that it needed; 0 with the address sanitizer
};

/** @throws std::system_error. A child that a signal ends has the message "signal N". */
ReadingProcess readInChild(std::string const& archive);

/** Expects @p archive to be refused with a message that contains @p expected, in ten seconds and
 * 256 MiB. */
void expectRefused(std::string const& archive, std::string const& expected);

}
