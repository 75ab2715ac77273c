#pragma once

#include "app/recording/Recording.h"

namespace app {

/**
 * Checks that a replay can build a root of the recording: the bounds of limits.h, absolute paths
 * that are there once, nothing below what is no folder, and no link that leaves the root.
 *
 * @throws ArchiveError for the first item that is wrong
 */
void checkRecording(Recording const& recording);

}
