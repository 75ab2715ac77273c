#pragma once

#include "app/exit_status.h"

namespace app {

/** Writes the message of the exception that is being handled to standard error.
 * @return the exit status that stands for it */
ExitStatus reportFailure();

}
