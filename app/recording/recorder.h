#pragma once

#include "app/recording/Recording.h"
#include "app/recording/program_run.h"

#include <chrono>
#include <functional>
#include <string>

namespace app {

struct RecorderOptions {
    std::string version; ///< of the program
    std::chrono::steady_clock::duration toolLimit;
    std::function<void(std::string const& query)> onQuery; ///< Called before each.
    std::function<bool()> isStopped; ///< Called several times a second; true ends the recording.
};

/**
 * Runs the program's queries, each in a process of its own with the preloaded object, and takes
 * what they and the library read.
 *
 * The document is made by a last run that reads what the others have kept, so that both have the
 * same figures; what the others did not keep it reads from the machine. Takes some seconds, and
 * the limit of the tools for each tool that hangs. Files are kept in a folder below TMPDIR or /tmp
 * meanwhile.
 *
 * @throws RecordingError, also where it is stopped
 */
Recording recordMachine(RecorderOptions const& options);

}
