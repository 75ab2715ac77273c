#pragma once

#include "app/Command.h"

#include <memory>

namespace app {

/** The mounted filesystems: how large they are, and how full. */
std::unique_ptr<Command> makeMountsCommand();

}
