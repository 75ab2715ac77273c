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

/** Collects hardware addresses, UUIDs and IP addresses with their networks from any text. A version
 * of four numbers is no IPv4 address.
 * @param mayHaveIpv4 false for a text that has versions and models alone. */
void findByForm(std::string_view text, RedactedValues& values, bool mayHaveIpv4 = true);

}
