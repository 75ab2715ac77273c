#pragma once

#include "app/recording/Recording.h"

#include <functional>
#include <string>

/** The manifest of an archive: all of a recording but the contents of its files, the output of its
 * tools and its document. JSON as dovrel-sysinfo-recording.schema.json has it. */
namespace app {

/** @return the manifest with a newline at its end. */
std::string manifestOf(Recording const& recording);

/** Returns the content of a member and removes it. @throws ArchiveError where it is not there. */
using TakeMember = std::function<std::string(std::string const& member)>;

/** @return the recording without its document, files sorted by path. @throws ArchiveError for the
 * first item that the schema or the members contradict */
Recording recordingOf(std::string const& manifest, TakeMember const& take);

}
