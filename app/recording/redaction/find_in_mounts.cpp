#include "app/recording/redaction/escape_codes.h"
#include "app/recording/redaction/find_values.h"
#include "app/recording/redaction/lines.h"

namespace app {

namespace {

using Kind = RedactedKind;

/** A mount with its words, which may have codes. */
struct Mount {
    std::string_view source;
    std::string_view type;
    std::vector<std::string_view> paths; ///< its point, and the folder that is mounted there
    std::vector<std::string_view> options;
};

/** Calls @p take for each part between separators. */
template <class Take>
void forEachPart(std::string_view text, std::string_view separators, Take const& take)
{
    while (!text.empty()) {
        size_t const end = std::min(text.find_first_of(separators), text.size());
        if (end > 0)
            take(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

bool startsWith(std::string_view text, std::string_view start)
{
    return text.substr(0, start.size()) == start;
}

Mount mountOf(std::string_view line)
{
    constexpr size_t INFO = 10; // words of mountinfo without tags
    auto const words = wordsIn(line);
    auto const dash = std::find(words.begin(), words.end(), "-");
    auto const behind = static_cast<size_t>(words.end() - dash);
    if (words.size() >= INFO && dash - words.begin() >= 6 && behind >= 4)
        return {dash[2], dash[1], {words[3], words[4]}, {words[5], dash[3]}};
    if (words.size() >= 4 && words[1][0] == '/')
        return {words[0], words[2], {words[1]}, {words[3]}};
    return {};
}

/** Adds the host of "HOST", "HOST:PORT", "[ADDRESS]:PORT". An address is found by its form. */
void addServer(
    std::string_view text, std::string_view before, std::string_view behind, RedactedValues& values)
{
    std::string_view const host = text.substr(0, text.find(':'));
    bool const isAddress =
        startsWith(text, "[") || host.find_first_not_of("0123456789.") == std::string_view::npos;
    if (!isAddress)
        values.addHost(host, before, host.size() < text.size() ? ":" : behind);
}

void addVolumes(std::string_view text, RedactedValues& values)
{
    forEachPart(text, "/@", [&](std::string_view name) { values.add(Kind::VOLUME_LABEL, name); });
}

/** "USER@FSID.NAME=/path", and "MONITOR:PORT,MONITOR:PORT:/path" of older kernels. */
void findInCephSource(std::string_view source, RedactedValues& values)
{
    size_t const at = source.find('@');
    size_t const path = source.find("=/");
    if (at < path && path != std::string_view::npos) {
        std::string_view const rest = source.substr(at + 1, path - at - 1);
        size_t const dot = rest.find('.');
        values.add(Kind::USER_NAME, source.substr(0, at), "", "@");
        if (dot != std::string_view::npos)
            values.add(Kind::VOLUME_LABEL, rest.substr(dot + 1), ".", "=/");
        return;
    }
    forEachPart(source.substr(0, source.find(":/")), ",",
        [&](std::string_view monitor) { addServer(monitor, "", ":", values); });
}

/** "NID:NID:/NAME", where a NID is HOST@NETWORK. */
void findInLustreSource(std::string_view source, RedactedValues& values)
{
    size_t const path = source.find(":/");
    forEachPart(source.substr(0, path), ":,",
        [&](std::string_view nid) { addServer(nid.substr(0, nid.find('@')), "", "@", values); });
    if (path != std::string_view::npos)
        addVolumes(source.substr(path + 2), values);
}

/** "//HOST/share", "HOST:/path", "HOST,HOST:/path", "USER@HOST:path", "https://HOST/path". */
void findInServerSource(std::string_view source, RedactedValues& values)
{
    size_t const scheme = source.find("://");
    std::string_view const before =
        startsWith(source, "//") || scheme != std::string_view::npos ? "//" : "";
    if (!before.empty())
        source.remove_prefix(source.find("//") + 2);
    else if (source.empty() || source[0] == '/' || source.find(':') == std::string_view::npos)
        return;
    // The first colon of "[fd00::1]:/path" is no separator.
    size_t const begin = source.find(']') == std::string_view::npos ? 0 : source.find(']');
    size_t const end = before.empty() ? source.find(':', begin) : source.find('/');
    std::string_view servers = source.substr(0, end);
    if (servers.find('=') != std::string_view::npos)
        return;
    if (size_t const at = servers.rfind('@'); at != std::string_view::npos) {
        values.add(Kind::USER_NAME, servers.substr(0, at), "", "@");
        servers.remove_prefix(at + 1);
    }
    std::string_view const behind = before.empty() ? ":" : "/";
    forEachPart(
        servers, ",", [&](std::string_view server) { addServer(server, before, behind, values); });
}

void findInSource(std::string_view type, std::string_view source, RedactedValues& values)
{
    if (type == "zfs") {
        addVolumes(source, values);
    } else if (type == "ceph" || type == "fuse.ceph") {
        findInCephSource(source, values);
    } else if (type == "lustre") {
        findInLustreSource(source, values);
    } else if ((type == "9p" || type == "virtiofs") && !startsWith(source, "/")) {
        values.add(Kind::VOLUME_LABEL, source);
    } else if (type != "autofs" || source.find("//") != std::string_view::npos) {
        findInServerSource(source, values);
        size_t const colon = source.find(':');
        if (type == "fuse.glusterfs" && colon != std::string_view::npos)
            addVolumes(source.substr(colon + 1), values);
    }
}

void findInOption(std::string_view type, std::string_view option, RedactedValues& values)
{
    size_t const equals = option.find('=');
    std::string_view const key = option.substr(0, equals);
    values.protect(key);
    forEachPart(key, "_-.", [&](std::string_view word) { values.protect(word); });
    if (equals == std::string_view::npos)
        return;
    std::string_view const value = option.substr(equals + 1);
    std::string const before(option.substr(0, equals + 1));
    forEachPart(value, ":", [&](std::string_view path) { findInPath(path, values); });
    if (type == "ceph" && key == "name")
        values.add(Kind::USER_NAME, value, before);
    else if (type == "ceph" && (key == "fs" || key == "mds_namespace"))
        values.add(Kind::VOLUME_LABEL, value, before);
    else if (key == "mon_addr")
        forEachPart(
            value, "/", [&](std::string_view monitor) { addServer(monitor, "", ":", values); });
    else if (key == "backup-volfile-servers" || key == "backupvolfile-server")
        forEachPart(value, ":", [&](std::string_view host) { addServer(host, "", "", values); });
    else if (key == "unc")
        forEachPart(value.substr(0, value.find_first_of("\\/", 2)), "\\/",
            [&](std::string_view host) { addServer(host, "\\", "", values); });
    else if (key == "locktable")
        forEachPart(value, ":",
            [&](std::string_view name) { values.add(Kind::VOLUME_LABEL, name, "", ":"); });
    else if (key == "ecryptfs_sig" || key == "ecryptfs_fnek_sig")
        values.add(Kind::UUID, value);
}

}

void findInMounts(std::string_view text, RedactedValues& values)
{
    for (std::string_view const line : linesIn(text)) {
        Mount const mount = mountOf(line);
        if (mount.type.empty()) {
            for (std::string_view const word : wordsIn(line))
                findInServerSource(decoded(word), values);
            continue;
        }
        values.protect(mount.type);
        findInSource(mount.type, decoded(mount.source), values);
        for (std::string_view const path : mount.paths)
            findInPath(decoded(path), values);
        for (std::string_view const options : mount.options)
            forEachPart(options, ",", [&](std::string_view option) {
                findInOption(mount.type, decoded(option), values);
            });
    }
}

}
