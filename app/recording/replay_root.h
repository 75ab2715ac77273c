#pragma once

#include "app/recording/Recording.h"

#include <stdexcept>

namespace app {

/** This machine does not let the user make a private root; the message names the setting. */
class NamespaceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * Makes the recorded files the root of this process and answers its calls as recorded.
 *
 * The process gets a user namespace, in which it has the recorded user's number, and a mount
 * namespace with a filesystem in memory; user_namespaces(7), mount_namespaces(7). It keeps no
 * capability. All of it is gone when the process ends. The object must have been preloaded.
 *
 * @throws NamespaceError
 * @throws ArchiveError where an answer is wrong or a file cannot be made
 */
void enterRecording(Recording const& recording);

/** @return whether this process was started with the object preloaded. */
bool isPreloaded();

}
