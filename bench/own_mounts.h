#pragma once

#include <string>

namespace bench {

/**
 * Gives this process folders of its own: what is mounted from now on nobody else sees.
 *
 * The library opens /proc/stat and its like by name; this is how a benchmark says what they hold.
 * Works as any user where user namespaces are allowed (user_namespaces(7)). To be called before
 * the first thread. @throws std::system_error
 */
void enterOwnMounts();

/** Puts an empty folder in memory in the place of a folder that is there. @throws
 * std::system_error */
void emptyFolder(char const* path);

/** @throws std::runtime_error */
void writeText(std::string const& path, std::string const& text);

}
