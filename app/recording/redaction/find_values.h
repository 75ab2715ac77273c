#pragma once

#include "app/recording/Recording.h"
#include "app/recording/redaction/RedactedValues.h"

#include <optional>

namespace app {

/** Collects all that a redaction replaces: by the file, key or name where it stands, and MAC
 * addresses, UUIDs and IP addresses by their form. */
void findValues(Recording const& recording, RedactedValues& values);

/** @return the kind of the value that is the whole content of a file: `serial`, `/etc/hostname`. */
std::optional<RedactedKind> kindOfContent(std::string_view path);

/** Collects what a text has behind keys: "Serial Number:", "UUID=", "/home/". */
void findByKeys(std::string_view text, RedactedValues& values);

/** Collects what a name in /dev/disk/by-id consists of. */
void findInDiskId(std::string_view name, RedactedValues& values);

/** Collects the parts of a device-mapper name, "volumegroup-volume". */
void findInMappedName(std::string_view name, RedactedValues& values);

/** Collects the servers, users and volumes of mounted filesystems from /proc/self/mounts,
 * /proc/self/mountinfo and fstab(5). Protects the words that the tables consist of. */
void findInMounts(std::string_view text, RedactedValues& values);

/** Collects the names below homes and below /media from a whole path without codes. */
void findInPath(std::string_view path, RedactedValues& values);

/** Collects the same from each path of a line with codes. */
void findPaths(std::string_view line, RedactedValues& values);

/** Collects from dmidecode's output what somebody can have typed in. */
void findInFirmware(std::string_view output, RedactedValues& values);

/** Collects paths outside the system's folders and names of hosts from an error output. */
void findInErrors(std::string_view text, RedactedValues& values);

/** Collects names of hosts from free text, by their form. */
void findInFreeText(std::string_view text, RedactedValues& values);

/** Collects what the options of the kernel's command line have, kernel-parameters(7),
 * dracut.cmdline(7): addresses, servers, users of iSCSI. */
void findBootOptions(std::string_view line, RedactedValues& values);

/** Collects hardware addresses, UUIDs and IP addresses with their networks from any text. A version
 * of four numbers is no IPv4 address.
 * @param mayHaveIpv4 false for a text that has versions and models alone. */
void findByForm(std::string_view text, RedactedValues& values, bool mayHaveIpv4 = true);

}
