#pragma once

#include <string>

namespace bench {

/** Mounts an empty tmpfs over /sbin in this process's mount namespace (`enterPrivateMounts`). */
void replaceTools();

/** Writes /sbin/NAME, a shell script that runs cat(1) on @p output. @throws std::exception */
void writeTool(std::string const& name, std::string const& output);

}
