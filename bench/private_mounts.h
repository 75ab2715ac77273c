#pragma once

#include <string>

namespace bench {

/**
 * Moves this process to a private mount namespace: other processes do not see its mounts.
 *
 * A benchmark can then replace /proc/stat and other files that the library opens by name. Ordinary
 * users need user namespaces (user_namespaces(7)). Call before the first thread starts. @throws
 * std::system_error
 */
void enterPrivateMounts();

/** Mounts an empty tmpfs over an existing folder. @throws
 * std::system_error */
void emptyFolder(char const* path);

/** @throws std::runtime_error */
void writeText(std::string const& path, std::string const& text);

}
