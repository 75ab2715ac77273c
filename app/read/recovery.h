#pragma once

#include "app/model/Machine.h"
#include "app/read/TraceOutput.h"

namespace app {

/** Reads the recovery through the library, whose facts they are. It runs no tool, and is read in
 * the program itself, as a recovery is followed by the second. */
void readRecovery(Machine& machine, TraceOutput& trace);

}
