#pragma once

namespace bench {

/**
 * Replaces /proc, for this process alone, by an empty folder in memory.
 *
 * The library opens /proc/stat by that name; this is how a benchmark says what it holds. Works as
 * any user where user namespaces are allowed (user_namespaces(7)). To be called before the first
 * thread. @throws std::system_error
 */
void replaceProc();

/** Writes /proc/stat as a machine with @p processors has it (proc(5)). @throws std::runtime_error
 */
void writeProcStat(unsigned processors);

}
