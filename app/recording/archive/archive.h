#pragma once

#include "app/recording/Recording.h"
#include "app/recording/archive/ArchiveError.h"

#include <iosfwd>
#include <string>

/**
 * A recording as a file: a compressed archive in the ustar format, which tar(1) unpacks.
 *
 * - `manifest.json` describes each item, and decides where a member contradicts it
 *   (dovrel-sysinfo-recording.schema.json);
 * - `README.txt` explains the archive to people;
 * - `document.json` is the recorded machine's own document;
 * - `root/PATH` has the content of a file, `later/PATH` that of its second reading. A path that
 *   does not fit the format, or is not plain text, has the member `numbered/root/INDEX`;
 * - `root/PATH` is also a link that leads to a place below `root`. Other links are in the manifest
 *   alone;
 * - `tools/INDEX.out` and `tools/INDEX.err` have the output of a tool.
 */
namespace app {

/**
 * @return the archive of the recording, the same bytes for the same recording.
 *
 * The target of a link that leaves the root by ".." becomes an absolute path (`targetInRoot`).
 *
 * @throws ArchiveError where the recording passes a bound of limits.h or contradicts itself
 */
std::string archiveOf(Recording const& recording);

/** @return the recording in an archive. Nothing is written to the disk. At most some seconds.
 * @throws ArchiveError */
Recording readRecording(std::istream& archive);

/** @param path of a regular file. @throws ArchiveError whose message begins with the path */
Recording readRecording(std::string const& path);

}
