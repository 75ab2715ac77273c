#pragma once

#include "app/recording/redaction/RedactedValues.h"
#include "app/recording/redaction/TextReplacer.h"

#include <vector>

namespace app {

/** Adds each value with its replacement in all spellings in which files, paths and outputs have it:
 * with other or no separators, with escaped characters, as hexadecimal digits, with reversed bytes.
 * @param routes gets those of /proc/net/route, whose addresses may look like any number elsewhere.
 * @return the kind of each counter of the patterns. */
std::vector<RedactedKind> addSpellings(
    RedactedValues& values, TextReplacer& replacer, TextReplacer& routes);

/** @return the text of an IPv6 address in the form of another one: the same zeros and "::". */
std::string addressTextLike(std::string_view form, AddressBytes const& address);

}
