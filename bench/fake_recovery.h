#pragma once

namespace bench {

/** The files that one poll reads. */
inline constexpr char const* RECOVERY_FILES[] = {
    "/etc/dovrel/status.ini", "/etc/dovrel/DRAnswer.ini", "/tmp/percent"};

/** Writes the files of a restore in progress, and the time zone UTC, into empty folders /etc and
 * /tmp (`emptyFolder`). @throws std::runtime_error */
void writeRecovery();

}
