#pragma once

#include "app/Command.h"

#include <memory>

namespace app {

/** The progress of a recovery: told once, or followed to its end. */
std::unique_ptr<Command> makeRecoveryCommand();

}
