#pragma once

#include "app/recording/Recording.h"

#include <string>

namespace app {

/**
 * Writes the archive of a recording as `OutputFile` does, for its owner alone (mode 0600).
 *
 * @param force replaces a file that exists
 * @throws OutputFileError, ArchiveError
 */
void writeRecording(Recording const& recording, std::string const& path, bool force);

}
