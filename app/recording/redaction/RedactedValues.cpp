#include "app/recording/redaction/RedactedValues.h"

#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/lines.h"
#include "app/recording/redaction/random_number.h"

#include <algorithm>
#include <nlohmann/json.hpp>

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
    "vfat", "ntfs",
    // ifconfig, route, /proc/mdstat, /proc/partitions, /proc/stat
    "active", "addr", "bcast", "blocks", "broadcast", "cpu", "devices", "encap", "ether", "flags",
    "genmask", "hwaddr", "iface", "inet", "inet6", "intr", "level", "major", "mask", "metric",
    "minor", "mtu", "multicast", "netmask", "packets", "prefixlen", "running", "scope", "scopeid",
    "super", "txqueuelen", "unused"};

/** Last parts of names of hosts that are no secret. Those of two and three letters are none
 * either. */
constexpr char const* TOP_LEVELS[] = {"arpa", "cloud", "corp", "example", "home", "info", "intern",
    "internal", "intranet", "invalid", "local", "localdomain", "localhost", "private", "test"};

bool isTopLevel(std::string_view name)
{
    constexpr size_t LONGEST = 3;
    std::string const word = lowered(name);
    return word.size() <= LONGEST
        || std::any_of(std::begin(TOP_LEVELS), std::end(TOP_LEVELS),
            [&](char const* other) { return word == other; });
}

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

/** The text as JSON has it: U+FFFD for each byte that is no UTF-8. */
std::string withoutStrayBytes(std::string const& text)
{
    using Json = nlohmann::json;
    if (std::none_of(text.begin(), text.end(), isNotAscii))
        return text;
    return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace))
        .get<std::string>();
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

void RedactedValues::protectKeys(std::string_view text)
{
    for (std::string_view const line : linesIn(text))
        if (size_t const colon = line.find(':'); colon != std::string_view::npos)
            for (std::string_view const word : wordsIn(line.substr(0, colon)))
                protect(word);
}

/** @return the entry of a value; null for one that identifies nothing, or that is replaced as a
 * spelling of another one. */
RedactedValue* RedactedValues::entryOf(RedactedKind kind, std::string_view text)
{
    constexpr size_t UUID_LENGTH = 32;
    if (isPlaceholder(kind, text))
        return nullptr;
    std::string const value = isName(kind) ? std::string(text) : core(text);
    std::string const key = lowered(value);
    bool const isUuid = value.size() == UUID_LENGTH && isHex(value);
    if (isUuid && m_values.count(key) == 0 && m_values.count(swappedUuid(value)) != 0)
        return nullptr;
    if (m_shown.count(key) != 0)
        return nullptr;
    if (std::string const shown = lowered(withoutStrayBytes(value)); shown != key)
        m_shown.insert(shown);
    RedactedValue& entry = m_values[key];
    if (entry.text.empty()) {
        entry.kind = kind;
        entry.text = value;
    }
    entry.forms.emplace(isName(kind) ? std::string_view(entry.text) : text);
    return &entry;
}

void RedactedValues::add(
    RedactedKind kind, std::string_view text, std::string_view before, std::string_view behind)
{
    text = trimmed(text);
    // The guests of one maker have their UUID in the serial number.
    constexpr std::string_view GUEST = "VMware-";
    if (kind == RedactedKind::SERIAL_NUMBER && text.substr(0, GUEST.size()) == GUEST
        && isHex(core(text.substr(GUEST.size())))) {
        add(RedactedKind::UUID, text.substr(GUEST.size()));
        return;
    }
    // Of a partition in an MBR, the table's identifier and the partition's number: "1a2b3c4d-01".
    constexpr size_t TABLE = 8;
    if (kind == RedactedKind::UUID && text.size() == TABLE + 3 && text[TABLE] == '-')
        text = text.substr(0, TABLE);
    RedactedValue* const entry = entryOf(kind, text);
    if (!entry)
        return;
    entry->onlyInPlaces = false;
    if (!before.empty() || !behind.empty())
        entry->places.emplace(before, behind);
}

void RedactedValues::addFreeText(
    RedactedKind kind, std::string_view text, std::string_view before, std::string_view behind)
{
    if (RedactedValue* const entry = entryOf(kind, trimmed(text)))
        entry->places.emplace(before, behind);
}

void RedactedValues::addPath(RedactedKind kind, std::string_view path, size_t kept)
{
    constexpr size_t SHORTEST = 5; // Shorter names are words of the system: "src", "bin".
    for (size_t begin = kept; begin < path.size();) {
        size_t const end = std::min(path.find('/', begin), path.size());
        std::string_view const name = path.substr(begin, end - begin);
        begin = end + 1;
        if (name.empty())
            continue;
        if (RedactedValue* const entry = entryOf(kind, name))
            entry->onlyInPlaces = entry->onlyInPlaces && name.size() < SHORTEST;
        std::string const part(path.substr(0, end));
        m_paths[lowered(part)] = {kind, part, kept, {}};
    }
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
    std::string_view rest = name;
    for (; rest.find('.') != std::string_view::npos; rest.remove_prefix(rest.find('.') + 1))
        add(RedactedKind::HOST_NAME, rest.substr(0, rest.find('.')));
    if (!isTopLevel(rest))
        add(RedactedKind::HOST_NAME, rest);
}

bool RedactedValues::isEverywhere(RedactedValue const& value) const
{
    constexpr size_t SHORTEST_NAME = 3;
    constexpr size_t SHORTEST = 4;
    constexpr size_t LONG = 8;
    std::string const text = lowered(value.text);
    if (value.onlyInPlaces)
        return false;
    if (!isName(value.kind) && text.size() >= LONG)
        return true;
    bool const hasDigit = std::any_of(text.begin(), text.end(), isDigit);
    bool const hasOther = !std::all_of(text.begin(), text.end(), isDigit);
    if (isCommon(text) || m_protected.count(text) != 0 || !hasOther)
        return false;
    return isName(value.kind) ? core(text).size() >= SHORTEST_NAME
                              : text.size() >= SHORTEST && hasDigit;
}

/** Gives values that consist of others the replacements of those. */
void RedactedValues::compose()
{
    for (auto& [key, value] : m_values)
        isName(value.kind) ? composeName(value) : composeNumber(value);
}

/** "HOST:NAME", the label of a part of a RAID, and "my_disk", udev's form of "my disk". */
void RedactedValues::composeName(RedactedValue& value)
{
    size_t const colon = value.text.find(':');
    auto const host = m_values.find(lowered(value.text.substr(0, colon)));
    if (colon != std::string::npos && host != m_values.end()
        && host->second.kind == RedactedKind::HOST_NAME) {
        std::string const rest = value.text.substr(colon + 1);
        auto const name = m_values.find(lowered(rest));
        bool const isReplaced = name != m_values.end() && isEverywhere(name->second);
        value.replacement =
            host->second.replacement + ":" + (isReplaced ? name->second.replacement : rest);
    }
    auto const forUdev = [](std::string text) {
        std::replace_if(text.begin(), text.end(), isUnsafeForUdev, '_');
        return text;
    };
    if (auto const other = m_values.find(lowered(forUdev(value.text)));
        other != m_values.end() && &other->second != &value)
        other->second.replacement = forUdev(value.replacement);
}

/** ".SERIAL.OTHER.", a board's number that begins with the machine's. */
void RedactedValues::composeNumber(RedactedValue& value)
{
    constexpr size_t SHORTEST = 5;
    std::string const form = value.forms.empty() ? "" : *value.forms.begin();
    size_t place = 0; // in the letters and digits alone
    for (size_t i = 0; i < form.size();) {
        size_t end = i;
        while (end < form.size() && isAlphanumeric(form[end]))
            ++end;
        auto const part = m_values.find(lowered(form.substr(i, end - i)));
        if (end - i >= SHORTEST && part != m_values.end() && &part->second != &value)
            value.replacement.replace(place, end - i, part->second.replacement);
        place += end - i;
        i = std::max(end, i + 1);
    }
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
    compose();
    for (auto& [key, value] : m_hosts)
        value.replacement = replaced(value.text);
    for (auto& [key, path] : m_paths)
        path.replacement =
            path.text.substr(0, path.kept) + replacedNames(path.text.substr(path.kept));
}

std::string RedactedValues::replacedNames(std::string_view path) const
{
    std::string result;
    while (!path.empty()) {
        size_t const end = std::min(path.find('/'), path.size());
        auto const found = m_values.find(lowered(path.substr(0, end)));
        result += found == m_values.end() ? path.substr(0, end)
                                          : std::string_view(found->second.replacement);
        result += path.substr(end, 1);
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return result;
}

unsigned RedactedValues::replacedUser(unsigned number) const
{
    auto const found = m_values.find(std::to_string(number));
    if (number == 0 || found == m_values.end())
        return number;
    return std::max(1U, static_cast<unsigned>(std::stoul(found->second.replacement)));
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
    std::string const first(text.substr(0, dot));
    std::string_view const rest = text.substr(dot + 1);
    bool const isLast = rest.find('.') == std::string_view::npos;
    return replaced(first) + "."
        + (isLast && isTopLevel(rest) ? std::string(rest) : replaced(rest));
}

}
