#include "app/commands.h"

#include "app/cpus.h"

namespace app {

Commands makeCommands()
{
    Commands commands;
    commands.push_back(makeCpusCommand());
    return commands;
}

}
