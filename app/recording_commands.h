#pragma once

#include "app/command_line.h"
#include "app/exit_status.h"

#include <functional>
#include <string>

namespace app {

/** The arguments of this program, which replay is started with again. */
using Arguments = char const* const*;

/** Runs `record`: writes the archive, and a report to standard output. @throws RecordingError,
 * OutputFileError, ArchiveError */
ExitStatus recordMachine(RecordingLine const& line, CommandLine const& all);

/**
 * Runs `replay`: answers its command from the recording.
 *
 * The program starts itself again with the object preloaded, before it reads anything.
 *
 * @param show runs a command on the machine that the process sees, and writes to standard output
 * @throws UsageError, ArchiveError, NamespaceError, OutputFileError
 */
ExitStatus replayRecording(RecordingLine const& line, Arguments arguments,
    std::function<ExitStatus(CommandLine)> const& show);

}
