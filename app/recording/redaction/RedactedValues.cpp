#include "app/recording/redaction/RedactedValues.h"

#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/random_number.h"

#include <algorithm>

namespace app {

namespace {

/** Names that many machines have, and words that stand in the files and tools' outputs themselves.
 */
constexpr char const* COMMON_WORDS[] = {"admin", "alma", "alpine", "arch", "archive", "backup",
    "boot", "cache", "cdrom", "centos", "client", "cluster", "control", "core", "corp", "data",
    "database", "debian", "default", "desktop", "destination", "dev", "disk", "docker", "domain",
    "efi", "esp", "ethernet", "example", "export", "fedora", "files", "filesystem", "firewall",
    "floppy", "gateway", "group", "home", "host", "images", "infra", "int", "internal", "ipv4",
    "ipv6", "kernel", "lan", "laptop", "library", "linux", "local", "localdomain", "localhost",
    "logs", "loop", "luks", "mail", "main", "media", "memory", "mount", "name", "net", "network",
    "node", "none", "nova", "null", "opt", "oracle", "part", "pool", "private", "proc", "public",
    "recovery", "redhat", "rhel", "rocky", "root", "rootfs", "rootvg", "router", "scratch",
    "search", "server", "service", "share", "shared", "snapshots", "spare", "srv", "storage",
    "suse", "swap", "sys", "sysfs", "system", "temp", "tftp", "time", "tmp", "true", "false",
    "ubuntu", "udev", "unknown", "usb", "user", "users", "usr", "var", "vault", "virtual",
    "vmlinuz", "volume", "web", "windows", "work", "workstation", "xfs", "ext3", "ext4", "btrfs",
    "vfat", "ntfs"};

/** Serial numbers that a maker did not set. */
constexpr char const* PLACEHOLDERS[] = {"notspecified", "none", "nodimm", "noassettag", "unknown",
    "tobefilledbyoem", "tbdbyodm", "defaultstring", "systemserialnumber", "notavailable",
    "notapplicable", "na", "empty", "chassisserialnumber", "baseboardserialnumber",
    "noassetinformation", "assettag", "serialnumber", "invalid", "undefined", "null",
    "unspecified"};

bool isCommon(std::string const& word)
{
    auto const is = [&](char const* other) { return word == other; };
    return std::any_of(std::begin(COMMON_WORDS), std::end(COMMON_WORDS), is);
}

/** @return whether the text identifies nothing. */
bool isPlaceholder(RedactedKind kind, std::string_view text)
{
    std::string const word = lowered(core(text));
    if (word.empty() || (word.size() == 1 && !isName(kind)))
        return true;
    if (!isName(kind) && word.find_first_not_of(word[0]) == std::string::npos)
        return true;
    auto const is = [&](char const* other) { return word == other; };
    return !isName(kind) && std::any_of(std::begin(PLACEHOLDERS), std::end(PLACEHOLDERS), is);
}

/** @return whether the value is a number in hexadecimal digits, as a UUID is. */
bool isHexText(RedactedKind kind, std::string_view text)
{
    constexpr size_t SHORTEST = 8;
    bool const mayBe = kind == RedactedKind::UUID || kind == RedactedKind::WWN
        || (!isName(kind) && text.size() >= SHORTEST
            && !std::all_of(text.begin(), text.end(), isDigit));
    return mayBe && isHex(text);
}

char randomOf(std::string_view characters)
{
    return characters[randomBelow(static_cast<uint32_t>(characters.size()))];
}

char otherCharacter(char c, bool hex)
{
    if (hex && isHexDigit(c))
        return randomOf("0123456789abcdef");
    if (isDigit(c))
        return randomOf("0123456789");
    if (isUpper(c))
        return randomOf("ABCDEFGHIJKLMNOPQRSTUVWXYZ");
    if (isLower(c))
        return randomOf("abcdefghijklmnopqrstuvwxyz");
    return c;
}

/** The length of the UTF-8 sequence at the beginning, 1 where it is none. */
size_t sequenceLength(std::string_view text)
{
    auto const first = static_cast<unsigned char>(text[0]);
    size_t const length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
    for (size_t i = 1; i < length; ++i)
        if (i >= text.size() || (static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80)
            return 1;
    return length;
}

/** A random character outside ASCII that has as many bytes. */
std::string otherSequence(size_t length)
{
    auto const continuation = [] { return static_cast<char>(0x80 + randomBelow(0x40)); };
    switch (length) {
    case 2: // Latin letters, U+00E0 to U+00F6
        return {'\xC3', static_cast<char>(0xA0 + randomBelow(0x17))};
    case 3: // ideographs, U+5000 to U+5FFF
        return {'\xE5', continuation(), continuation()};
    case 4: // ideographs, U+20000 to U+20FFF
        return {'\xF0', '\xA0', continuation(), continuation()};
    default: // no UTF-8
        return {static_cast<char>(0xF8 + randomBelow(8))};
    }
}

std::string otherText(RedactedKind kind, std::string_view text)
{
    bool const hex = isHexText(kind, text);
    std::string result;
    for (size_t i = 0; i < text.size();) {
        bool const isAscii = (static_cast<unsigned char>(text[i]) & 0x80U) == 0;
        size_t const length = isAscii ? 1 : sequenceLength(text.substr(i));
        if (kind == RedactedKind::WWN && i == 0) // the type of the name
            result += text[i];
        else
            result +=
                isAscii ? std::string(1, otherCharacter(text[i], hex)) : otherSequence(length);
        i += length;
    }
    return result;
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view BLANKS(" \t\r\n\v\f\0", 7);
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    return text.substr(0, text.find_last_not_of(BLANKS) + 1);
}

}

void RedactedValues::protect(std::string_view word)
{
    m_protected.insert(lowered(word));
}

void RedactedValues::add(
    RedactedKind kind, std::string_view text, std::string_view before, std::string_view behind)
{
    text = trimmed(text);
    if (isPlaceholder(kind, text))
        return;
    constexpr size_t UUID_LENGTH = 32;
    // The guests of one maker have their UUID in the serial number.
    constexpr std::string_view GUEST = "VMware-";
    if (kind == RedactedKind::SERIAL_NUMBER && text.substr(0, GUEST.size()) == GUEST
        && isHex(core(text.substr(GUEST.size())))) {
        add(RedactedKind::UUID, text.substr(GUEST.size()));
        return;
    }
    std::string const value = isName(kind) ? std::string(text) : core(text);
    bool const isUuid = value.size() == UUID_LENGTH && isHex(value);
    if (isUuid && m_values.count(lowered(value)) == 0 && m_values.count(swappedUuid(value)) != 0)
        return; // Replaced as a spelling of the other one.
    RedactedValue& entry = m_values[lowered(value)];
    if (entry.text.empty()) {
        entry.kind = kind;
        entry.text = value;
    }
    entry.forms.emplace(isName(kind) ? std::string_view(entry.text) : text);
    if (!before.empty() || !behind.empty())
        entry.places.emplace(before, behind);
}

void RedactedValues::addHost(
    std::string_view name, std::string_view before, std::string_view behind)
{
    name = trimmed(name);
    while (!name.empty() && name.back() == '.')
        name.remove_suffix(1);
    size_t const dot = name.find('.');
    if (dot == std::string_view::npos) {
        add(RedactedKind::HOST_NAME, name, before, behind);
        return;
    }
    RedactedValue& entry = m_hosts[lowered(name)];
    entry.kind = RedactedKind::HOST_NAME;
    entry.text = name;
    for (std::string_view rest = name; rest.find('.') != std::string_view::npos;
         rest.remove_prefix(rest.find('.') + 1))
        add(RedactedKind::HOST_NAME, rest.substr(0, rest.find('.')));
}

bool RedactedValues::isEverywhere(RedactedValue const& value) const
{
    constexpr size_t SHORTEST_NAME = 3;
    constexpr size_t SHORTEST = 4;
    constexpr size_t LONG = 8;
    std::string const text = lowered(value.text);
    if (!isName(value.kind) && text.size() >= LONG)
        return true;
    bool const hasDigit = std::any_of(text.begin(), text.end(), isDigit);
    bool const hasOther = !std::all_of(text.begin(), text.end(), isDigit);
    if (isCommon(text) || m_protected.count(text) != 0 || !hasOther)
        return false;
    return isName(value.kind) ? core(text).size() >= SHORTEST_NAME
                              : text.size() >= SHORTEST && hasDigit;
}

void RedactedValues::choose()
{
    constexpr int ATTEMPTS = 1000;
    std::set<std::string> taken;
    for (auto const& [key, value] : m_values)
        taken.insert(key);
    for (auto& [key, value] : m_values) {
        value.replacement = otherText(value.kind, value.text);
        for (int i = 0; i < ATTEMPTS && taken.count(lowered(value.replacement)) != 0; ++i)
            value.replacement = otherText(value.kind, value.text);
        taken.insert(lowered(value.replacement));
    }
    for (auto& [key, value] : m_hosts)
        value.replacement = replaced(value.text);
}

std::string RedactedValues::replaced(std::string_view text) const
{
    for (std::string const& key : {lowered(text), lowered(core(text))})
        if (auto const found = m_values.find(key); found != m_values.end())
            return isName(found->second.kind) ? found->second.replacement
                                              : filled(text, found->second.replacement);
    size_t const dot = text.find('.');
    if (m_hosts.count(lowered(text)) == 0 && !(dot != 0 && dot != std::string_view::npos))
        return std::string(text);
    // The last part of a host's name stays.
    std::string const first(text.substr(0, dot));
    std::string_view const rest = text.substr(dot + 1);
    return replaced(first) + "."
        + (rest.find('.') == std::string_view::npos ? std::string(rest) : replaced(rest));
}

}
