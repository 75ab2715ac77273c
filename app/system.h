#pragma once

#include "app/Command.h"

#include <memory>

namespace app {

/** The machine as a whole: who made it, and the hypervisor that it runs under. */
std::unique_ptr<Command> makeSystemCommand();

}
