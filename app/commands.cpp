#include "app/commands.h"

#include "app/cpus.h"
#include "app/disks.h"
#include "app/memory.h"
#include "app/mounts.h"
#include "app/networks.h"
#include "app/recovery.h"
#include "app/system.h"

namespace app {

Commands makeCommands()
{
    Commands commands;
    commands.push_back(makeSystemCommand());
    commands.push_back(makeCpusCommand());
    commands.push_back(makeMemoryCommand());
    commands.push_back(makeDisksCommand());
    commands.push_back(makeMountsCommand());
    commands.push_back(makeNetworksCommand());
    commands.push_back(makeRecoveryCommand());
    return commands;
}

}
