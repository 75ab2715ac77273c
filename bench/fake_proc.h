#pragma once

namespace bench {

/** Mounts an empty tmpfs over /proc in this process's mount namespace (`enterPrivateMounts`). */
void replaceProc();

/** Writes the /proc/stat (proc(5)) of @p processors processors. @throws std::runtime_error */
void writeProcStat(unsigned processors);

}
