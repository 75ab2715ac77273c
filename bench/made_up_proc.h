#pragma once

namespace bench {

/** Replaces /proc, for this process alone, by an empty folder in memory; `enterOwnMounts`. */
void replaceProc();

/** Writes /proc/stat as a machine with @p processors has it (proc(5)). @throws std::runtime_error
 */
void writeProcStat(unsigned processors);

}
