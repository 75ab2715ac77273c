#pragma once

namespace testkit {

/**
 * Sets whether the calling thread is bound by file permissions.
 *
 * User 0 of a user namespace may read and write every file of its own user whatever its mode
 * (CAP_DAC_OVERRIDE and CAP_DAC_READ_SEARCH, capabilities(7)); without these a test could not make
 * a file that is there but cannot be opened. @throws std::system_error
 */
void obeyFilePermissions(bool obey);

/** The same for every program that is executed from here on, for good. @throws std::system_error */
void dropFilePrivilegesOfChildren();

}
