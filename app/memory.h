#pragma once

#include "app/Command.h"

#include <memory>

namespace app {

/** The memory: how much there is, and how much of it is free. */
std::unique_ptr<Command> makeMemoryCommand();

}
