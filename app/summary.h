#pragma once

#include "app/commands.h"
#include "app/exit_status.h"

namespace app {

class Session;

/** What the program does without a command: shows every command's part of the summary. */
ExitStatus runSummary(Session& session, Commands const& commands);

}
