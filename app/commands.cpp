#include "app/commands.h"

#include "app/cpus.h"
#include "app/memory.h"

namespace app {

Commands makeCommands()
{
    Commands commands;
    commands.push_back(makeCpusCommand());
    commands.push_back(makeMemoryCommand());
    return commands;
}

}
