#pragma once

#include "app/recording/Recording.h"

namespace app {

/**
 * Replaces what identifies the machine, its users and its network: serial numbers, UUIDs, MAC and
 * IP addresses, names of hosts and users, WWNs and volume labels. docs/redaction.md describes what
 * is replaced and what stays.
 *
 * Equal values have equal replacements, in each file, path, output and answer and in each spelling.
 * A replacement is random, of the same length and characters of the same classes; only an IPv4
 * address may have another length. The table of replacements is not kept.
 *
 * Sets `redacted`, and `replacements` with an entry for each kind. Of the variables of a process's
 * environment only "container" is left.
 *
 * @throws std::system_error where the kernel has no random numbers.
 */
void redact(Recording& recording);

}
