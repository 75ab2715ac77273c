#pragma once

#include "app/Command.h"

#include <memory>

namespace app {

/** The processors: speeds and loads. */
std::unique_ptr<Command> makeCpusCommand();

}
