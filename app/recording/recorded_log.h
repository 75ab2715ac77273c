#pragma once

#include "app/recording/Recording.h"

#include <string>

namespace app {

/**
 * Reads what the preloaded object kept in a folder: the files, the tools' output and the answers.
 * What a path leads to is looked up on this machine: links, modes, the names in folders.
 *
 * @throws std::exception where the folder cannot be read
 */
void readRecorded(std::string const& folder, Recording& recording);

/** Writes the lines of answers and the tools in a folder as the preloaded object reads them.
 * @throws std::system_error */
void writeAnswers(Recording const& recording, std::string const& folder);

}
