#pragma once

#include "app/Command.h"

#include <memory>

namespace app {

/** The physical disks, and what is mounted from them. */
std::unique_ptr<Command> makeDisksCommand();

}
