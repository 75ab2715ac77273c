#pragma once

#include "app/recording/redaction/AddressMap.h"

#include <array>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace app {

/** The kinds of facts that a redaction replaces. */
enum class RedactedKind {
    SERIAL_NUMBER,
    UUID,
    MAC_ADDRESS,
    IP_ADDRESS,
    HOST_NAME,
    USER_NAME,
    WWN,
    VOLUME_LABEL
};

constexpr std::array<char const*, 8> REDACTED_KINDS = {"serial_number", "uuid", "mac_address",
    "ip_address", "host_name", "user_name", "wwn", "volume_label"};

/** A text that is replaced. */
struct RedactedValue {
    RedactedKind kind = RedactedKind::SERIAL_NUMBER;
    std::string text; ///< a name, or the letters and digits of another value
    std::string replacement;
    std::set<std::string> forms; ///< as it stands in the sources: "1A2B-3C4D"
    /** What stands before and behind it in the sources that name it. A value that is too short or
     * too common to be replaced everywhere is replaced there. */
    std::set<std::pair<std::string, std::string>> places;
    bool onlyInPlaces = true; ///< whether each source has it as free text: "Front left bay"
};

/** A path with names that are replaced. */
struct RedactedPath {
    RedactedKind kind = RedactedKind::USER_NAME;
    std::string text;
    size_t kept = 0; ///< the length of its beginning that stays: of "/home/"
    std::string replacement;
};

/** @return whether people choose texts of this kind. */
constexpr bool isName(RedactedKind kind)
{
    return kind == RedactedKind::HOST_NAME || kind == RedactedKind::USER_NAME
        || kind == RedactedKind::VOLUME_LABEL;
}

/** All that is replaced in one recording, each value once. */
class RedactedValues {
public:
    /** Adds a text that stands between @p before and @p behind in a source. Leaves out what
     * identifies nothing: "Not Specified", "00000000". */
    void add(RedactedKind kind, std::string_view text, std::string_view before = {},
        std::string_view behind = {});

    /** Adds a string that is replaced between @p before and @p behind alone, unless another source
     * names it as a value. */
    void addFreeText(RedactedKind kind, std::string_view text, std::string_view before,
        std::string_view behind = {});

    /** Adds a path whose names behind the first @p kept characters are values. It is replaced
     * whatever its names are, so also where they are common or short. */
    void addPath(RedactedKind kind, std::string_view path, size_t kept);

    /** Adds a host's name with its parts. The last one stays where it is a usual one, "net". */
    void addHost(std::string_view name, std::string_view before = {}, std::string_view behind = {});

    /** Keeps a word from being replaced as a name everywhere: a part of the system's own paths. */
    void protect(std::string_view word);

    /** Protects the words before the first ':' of each line, as in /proc/meminfo. */
    void protectKeys(std::string_view text);

    /** @return whether the value is replaced wherever it stands. */
    bool isEverywhere(RedactedValue const& value) const;

    /** Chooses the replacements: of the same length, each character of the same class, none equal
     * to a value or to another replacement. */
    void choose();

    /** @return the replacement of a value of any kind, of a host's name part by part; the text
     * itself where it is none. */
    std::string replaced(std::string_view text) const;

    /** @return the number of another user where a source has this one; 0 stays. */
    unsigned replacedUser(unsigned number) const;

    std::map<std::string, RedactedValue> const& values() const { return m_values; }
    std::map<std::string, RedactedValue> const& hosts() const { return m_hosts; }
    std::map<std::string, RedactedPath> const& paths() const { return m_paths; }

    AddressMap addresses;
    /** The texts of the IPv6 addresses, as they stand in the sources. */
    std::map<AddressBytes, std::set<std::string>> addressTexts;

private:
    RedactedValue* entryOf(RedactedKind kind, std::string_view text);
    std::string replacedNames(std::string_view path) const;
    void compose();
    void composeName(RedactedValue& value);
    void composeNumber(RedactedValue& value);

    std::map<std::string, RedactedValue> m_values; ///< by their text in lower case
    std::map<std::string, RedactedValue> m_hosts; ///< names of several parts
    std::map<std::string, RedactedPath> m_paths; ///< by their text in lower case
    std::set<std::string> m_shown; ///< names that are no UTF-8 in the form of the document
    std::set<std::string> m_protected;
};

}
