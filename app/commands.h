#pragma once

#include "app/Command.h"

#include <memory>
#include <vector>

namespace app {

using Commands = std::vector<std::unique_ptr<Command>>;

/** @return all commands, in the order of the help and of the summary. */
Commands makeCommands();

}
