#pragma once

namespace testkit {

/**
 * Sets whether the calling thread obeys file permissions.
 *
 * User 0 of a user namespace ignores the modes of its user's files (CAP_DAC_OVERRIDE and
 * CAP_DAC_READ_SEARCH, capabilities(7)). A test for an unreadable file has to drop these.
 * @throws std::system_error
 */
void obeyFilePermissions(bool obey);

/** Makes all programs that the process executes later obey file permissions.
 * @throws std::system_error */
void dropFilePrivilegesOfChildren();

}
