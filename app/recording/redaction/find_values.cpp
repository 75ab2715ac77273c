#include "app/recording/redaction/find_values.h"

#include "app/recording/answer_line.h"
#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/lines.h"
#include "app/recording/redaction/netlink_redaction.h"

#include <algorithm>
#include <fnmatch.h>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace app {

namespace {

using Json = nlohmann::json;
using Kind = RedactedKind;

/** A file whose content is one value. */
struct ValueFile {
    char const* pattern; ///< fnmatch(3); "*" matches slashes too
    Kind kind;
};

constexpr ValueFile VALUE_FILES[] = {
    {"/sys/*/serial", Kind::SERIAL_NUMBER},
    {"/sys/*/serial_number", Kind::SERIAL_NUMBER},
    {"/sys/*_serial", Kind::SERIAL_NUMBER},
    {"/sys/*_asset_tag", Kind::SERIAL_NUMBER},
    {"/sys/*/mmc*/cid", Kind::SERIAL_NUMBER},
    {"/sys/*/product_uuid", Kind::UUID},
    {"/sys/*/md/uuid", Kind::UUID},
    {"/sys/*/uuid", Kind::UUID},
    {"/sys/*/nguid", Kind::WWN},
    {"/sys/*/eui", Kind::WWN},
    {"/sys/*/port_name", Kind::WWN},
    {"/sys/*/node_name", Kind::WWN},
    {"/sys/*/sas_address", Kind::WWN},
    {"*/machine-id", Kind::UUID},
    {"/etc/hostname", Kind::HOST_NAME},
    {"/etc/HOSTNAME", Kind::HOST_NAME},
    {"/etc/nodename", Kind::HOST_NAME},
    {"/etc/mailname", Kind::HOST_NAME},
    {"/proc/sys/kernel/hostname", Kind::HOST_NAME},
    {"/proc/sys/kernel/domainname", Kind::HOST_NAME},
};

bool matches(std::string_view path, char const* pattern)
{
    return fnmatch(pattern, std::string(path).c_str(), 0) == 0;
}

std::string_view firstLine(std::string_view text)
{
    return text.substr(0, text.find('\n'));
}

void addValue(Kind kind, std::string_view text, RedactedValues& values)
{
    text = text.substr(0, 2) == "0x" ? text.substr(2) : text;
    if (text.empty() || text == "(none)")
        return;
    if (kind == Kind::HOST_NAME)
        values.addHost(text);
    else
        values.add(kind, text);
}

/** The name of a disk for the kernel: "naa.5000c500a0b1c2d3", "t10.ATA  MODEL  SERIAL",
 * "nvme.8086-...". */
void findInWwid(std::string_view line, RedactedValues& values)
{
    if (line.substr(0, 4) == "t10.") {
        if (auto const words = wordsIn(line); words.size() > 1)
            values.add(Kind::SERIAL_NUMBER, words.back());
    } else if (line.substr(0, 5) == "nvme.") {
        findInDiskId(line, values);
    } else if (line.substr(0, 2) == "0x") {
        values.add(Kind::WWN, line.substr(2));
    } else if (size_t const dot = line.find('.'); dot != std::string_view::npos) {
        values.add(Kind::WWN, line.substr(dot + 1));
    }
}

/** resolv.conf(5), hosts(5). */
void findInResolver(std::string_view text, RedactedValues& values)
{
    for (std::string_view const line : linesIn(text)) {
        auto const words = wordsIn(line);
        bool const isDomain = !words.empty() && (words[0] == "domain" || words[0] == "search");
        for (size_t i = 1; isDomain && i < words.size(); ++i)
            values.addHost(words[i], i == 1 ? std::string(words[0]) + " " : "");
        if (!line.empty() && (line[0] == '#' || line[0] == ';'))
            findInFreeText(line, values);
    }
}

void findInHosts(std::string_view text, RedactedValues& values)
{
    for (std::string_view const line : linesIn(text)) {
        auto const words = wordsIn(line.substr(0, line.find('#')));
        for (size_t i = 1; i < words.size(); ++i)
            values.addHost(words[i]);
    }
}

/** /proc/net/route: addresses as hexadecimal numbers in the machine's byte order. */
void findInRoutes(std::string_view text, RedactedValues& values)
{
    for (std::string_view const line : linesIn(text)) {
        auto const words = wordsIn(line); // NAME DESTINATION GATEWAY ... MASK
        if (words.size() < 8 || words[1].size() != 8 || !isHex(words[1]))
            continue;
        auto const address = [&](size_t word) {
            AddressBytes bytes = bytesOf(words[word]);
            std::reverse(bytes.begin(), bytes.end());
            return bytes;
        };
        unsigned ones = 0;
        for (char const c : address(7))
            for (unsigned bits = static_cast<unsigned char>(c); bits != 0; bits &= bits - 1U)
                ++ones;
        values.addresses.addIp(address(1));
        values.addresses.addIp(address(2));
        values.addresses.addNetwork(address(1), ones);
    }
}

/** /proc/net/if_inet6, /proc/net/ipv6_route: 32 digits, then the prefix length in a word near it.
 */
void findInIpv6Tables(std::string_view text, size_t prefixWord, RedactedValues& values)
{
    constexpr size_t DIGITS = 32;
    for (std::string_view const line : linesIn(text)) {
        auto const words = wordsIn(line);
        for (size_t i = 0; i < words.size(); ++i) {
            if (words[i].size() != DIGITS || !isHex(words[i]))
                continue;
            AddressBytes const address = bytesOf(words[i]);
            values.addresses.addIp(address);
            size_t const word = i + prefixWord;
            if (word < words.size() && words[word].size() == 2 && isHex(words[word]))
                values.addresses.addNetwork(
                    address, static_cast<unsigned char>(bytesOf(words[word])[0]));
        }
    }
}

/** pvdisplay -c: the volume group in the second field; its name stands in the first one, too. */
void findInPhysicalVolumes(std::string_view text, RedactedValues& values)
{
    constexpr int FEWEST = 8; // fields
    for (std::string_view line : linesIn(text)) {
        line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
        size_t const first = line.find(':');
        if (line[0] != '/' || first == std::string_view::npos
            || std::count(line.begin(), line.end(), ':') < FEWEST)
            continue;
        std::string_view const rest = line.substr(first + 1);
        values.add(Kind::VOLUME_LABEL, rest.substr(0, rest.find(':')));
    }
}

/** The hardware address in a name such as "wlx020000000001", which may not be the present one. */
void findInAdapterName(std::string_view path, RedactedValues& values)
{
    constexpr std::string_view FOLDER = "/net/";
    constexpr size_t DIGITS = 12;
    std::string_view name = path.substr(path.find(FOLDER) + FOLDER.size());
    name = name.substr(0, name.find('/'));
    if (name.size() <= DIGITS || name[name.size() - DIGITS - 1] != 'x')
        return;
    std::string_view const digits = name.substr(name.size() - DIGITS);
    if (isHex(digits))
        values.addresses.addHardware(bytesOf(digits));
}

/** A bridge's "8000.020000000001", and an adapter's hardware addresses of other lengths. */
void findInAdapterFile(std::string_view path, std::string_view line, RedactedValues& values)
{
    constexpr size_t PRIORITY = 5;
    bool const isBridge = path.ends_with("bridge_id") || path.ends_with("root_id")
        || path.ends_with("designated_bridge") || path.ends_with("designated_root");
    if (isBridge && line.size() == PRIORITY + 12 && isHex(line.substr(PRIORITY)))
        values.addresses.addHardware(bytesOf(line.substr(PRIORITY)));
    // A tunnel's hardware address is its IP address.
    std::string const digits = core(line);
    bool const isAddress = path.ends_with("/address") || path.ends_with("/broadcast");
    if (isAddress && digits.size() == 8 && isHex(digits))
        values.addresses.addIp(bytesOf(digits));
}

void findInFile(RecordedFile const& file, RedactedValues& values)
{
    std::string_view const path = file.path;
    std::string_view const line = firstLine(file.content);
    if (path.find("/net/") != std::string_view::npos)
        findInAdapterName(path, values);
    if (path == "/proc/cpuinfo" || path == "/proc/meminfo")
        values.protectKeys(file.content);
    if (auto const kind = kindOfContent(path))
        addValue(*kind, line, values);
    else if (path.ends_with("/dm/name"))
        findInMappedName(line, values);
    else if (path.ends_with("/dm/uuid"))
        findInDiskId("dm-uuid-" + std::string(line), values);
    else if (path.ends_with("/wwid"))
        findInWwid(line, values);
    else if (path.ends_with("mounts") || path.ends_with("mountinfo") || path.ends_with("/fstab")
        || path.ends_with("/mtab"))
        findInMounts(file.content, values);
    else if (path.ends_with("resolv.conf"))
        findInResolver(file.content, values);
    else if (path == "/etc/hosts")
        findInHosts(file.content, values);
    else if (path.ends_with("/net/route"))
        findInRoutes(file.content, values);
    else if (path.ends_with("/net/if_inet6"))
        findInIpv6Tables(file.content, 2, values);
    else if (path.ends_with("/net/ipv6_route"))
        findInIpv6Tables(file.content, 1, values);
    else if (path.find("/net/") != std::string_view::npos)
        findInAdapterFile(path, line, values);
}

/** @return whether a file has versions and models, which may look like IPv4 addresses. */
bool hasVersions(std::string const& path)
{
    for (char const* const part : {"version", "release", "firmware", "/dmi/id/", "/model", "/rev",
             "cpuinfo", "/modules/", "/issue"})
        if (path.find(part) != std::string::npos)
            return true;
    return false;
}

void findInText(std::string_view text, RedactedValues& values)
{
    findByKeys(text, values);
    findByForm(text, values);
}

/** Words that the recorded paths consist of. They stay, or no query finds its files. */
void protectPath(std::string_view path, RedactedValues& values)
{
    for (char const* const folder :
        {"/dev/disk/", "/dev/mapper/", "/home/", "/media/", "/run/media/"})
        if (path.substr(0, std::string_view(folder).size()) == folder)
            return;
    bool const isSystems = path.substr(0, 5) == "/sys/" || path.substr(0, 6) == "/proc/"
        || path.substr(0, 5) == "/etc/" || path.substr(0, 10) == "/run/udev/";
    while (isSystems && !path.empty()) {
        path.remove_prefix(1);
        std::string_view const name = path.substr(0, path.find('/'));
        values.protect(name);
        path.remove_prefix(name.size());
    }
}

/** The words of an answer; none where its quotation marks are odd. */
std::vector<std::string> answerWords(std::string const& line)
try {
    return wordsOfLine(line);
} catch (std::runtime_error const&) {
    return {};
}

void findInAnswer(std::string const& line, RedactedValues& values)
{
    auto const words = wordsIn(line);
    if (std::string const message = netlinkMessage(line); !message.empty()) {
        findInNetlink(message, values.addresses);
        return;
    }
    if (!words.empty() && words[0] == "uname")
        return;
    // A tunnel's hardware address is its IP address.
    if (words.size() > 4 && words[0] == "adapter" && core(words[4]).size() == 8
        && isHex(core(words[4])))
        values.addresses.addIp(bytesOf(core(words[4])));
    if (words.size() > 1 && words[0] == "hostname") {
        std::string_view name = std::string_view(line).substr(line.find(words[1]));
        while (!name.empty() && name.front() == '"')
            name.remove_prefix(1);
        values.addHost(name.substr(0, name.find('"')), "hostname ");
    }
    for (std::string const& word : answerWords(line))
        if (word[0] == '/')
            findInPath(word, values);
    findInText(line, values);
}

void findInDocument(Json const& node, RedactedValues& values)
{
    if (node.is_object() && node.contains("address") && node.contains("prefix_length")
        && node["address"].is_string() && node["prefix_length"].is_number_unsigned())
        findByForm(node["address"].get<std::string>() + "/"
                + std::to_string(node["prefix_length"].get<unsigned>()),
            values);
    for (auto const& item : node.items()) {
        std::string const key = node.is_object() ? item.key() : "";
        Json const& value = item.value();
        if (value.is_structured()) {
            if (node.is_object())
                values.protect(key);
            findInDocument(value, values);
            continue;
        }
        values.protect(key);
        std::string const text = value.is_string() ? value.get<std::string>() : "";
        std::string const before = '"' + key + "\": \"";
        findByKeys(text, values);
        findByForm(before + text, values);
        if (text[0] == '/')
            findInPath(text, values);
        if (key == "serial" || key == "serial_number")
            values.add(Kind::SERIAL_NUMBER, text, before, "\"");
        else if (key == "host_name")
            values.addHost(text, before, "\"");
        else if (key == "label"
            && node.value("name", "") != text) // Of most disks the kernel's name.
            findInMappedName(text, values);
    }
}

}

std::optional<RedactedKind> kindOfContent(std::string_view path)
{
    if (path.ends_with("/dm/uuid"))
        return std::nullopt;
    for (ValueFile const& file : VALUE_FILES)
        if (matches(path, file.pattern))
            return file.kind;
    return std::nullopt;
}

void findValues(Recording const& recording, RedactedValues& values)
{
    for (auto const* const files : {&recording.files, &recording.later})
        for (RecordedFile const& file : *files) {
            protectPath(file.path, values);
            findInFile(file, values);
            findInText(file.path, values);
            findInPath(file.path, values);
            if (file.kind == RecordedFile::LINK)
                findInPath(file.content, values);
            findByKeys(file.content, values);
            if (!file.path.ends_with("/net/if_inet6") && !file.path.ends_with("/net/ipv6_route"))
                findByForm(file.content, values, !hasVersions(file.path));
        }
    for (RecordedTool const& tool : recording.tools) {
        for (std::string const& word : tool.command)
            findInText(word, values);
        findInText(tool.output, values);
        findInText(tool.errors, values);
        findInErrors(tool.errors, values);
        findInFirmware(tool.output, values);
        findInPhysicalVolumes(tool.output, values);
        findInResolver(tool.output, values);
    }
    for (std::string const& answer : recording.answers)
        findInAnswer(answer, values);
    Json const document = Json::parse(recording.document, nullptr, false);
    if (document.is_discarded())
        findInText(recording.document, values);
    else
        findInDocument(document, values);
}

}
