#pragma once

#include "app/Command.h"

#include <memory>

namespace app {

/** The network adapters, and the machine's names for itself and for others. */
std::unique_ptr<Command> makeNetworksCommand();

}
