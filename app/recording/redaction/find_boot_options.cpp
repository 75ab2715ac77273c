#include "app/recording/redaction/characters.h"
#include "app/recording/redaction/find_values.h"
#include "app/recording/redaction/lines.h"

#include <vector>

namespace app {

namespace {

using Kind = RedactedKind;

struct Option {
    std::string_view key;
    Kind kind;
};

/** Options whose value is one name. Of iSCSI the keys "username=" and "password=" are known. */
constexpr Option OPTIONS[] = {
    {"rd.lvm.vg=", Kind::VOLUME_LABEL},
    {"systemd.hostname=", Kind::HOST_NAME},
};

std::vector<std::string_view> fieldsOf(std::string_view text)
{
    std::vector<std::string_view> fields;
    for (;;) {
        // The colons of "[fd00::1]" separate nothing.
        size_t const bracket = !text.empty() && text[0] == '[' ? text.find(']') : 0;
        size_t const end = text.find(':', bracket);
        fields.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return fields;
        text.remove_prefix(end + 1);
    }
}

bool isAddress(std::string_view text)
{
    return text.empty() || text[0] == '['
        || text.find_first_not_of("0123456789.") == std::string_view::npos;
}

/** "CLIENT:SERVER:GATEWAY:MASK:HOST:ADAPTER:...". */
void findInIp(std::string_view value, RedactedValues& values)
{
    constexpr size_t HOST = 4;
    auto const fields = fieldsOf(value);
    if (fields.size() <= HOST)
        return;
    for (std::string_view const field : {fields[0], fields[1], fields[2]})
        findByForm(field, values);
    if (!fields[HOST].empty())
        values.addHost(fields[HOST], ":", ":");
}

/** "HOST:/path", also behind "nfs:" and "iscsi:", "USER:PASSWORD@HOST:...". */
void findInServer(std::string_view value, RedactedValues& values)
{
    for (std::string_view const scheme : {"nfs:", "nfs4:", "iscsi:", "dhcp:"})
        if (value.substr(0, scheme.size()) == scheme)
            value.remove_prefix(scheme.size());
    if (size_t const at = value.find('@'); at != std::string_view::npos) {
        auto const login = fieldsOf(value.substr(0, at));
        for (size_t i = 0; i < login.size(); ++i)
            values.add(i % 2 == 0 ? Kind::USER_NAME : Kind::SERIAL_NUMBER, login[i], "",
                i + 1 < login.size() ? ":" : "@");
        value.remove_prefix(at + 1);
    }
    std::string_view const host = fieldsOf(value)[0];
    if (!isAddress(host) && host.size() < value.size() && host[0] != '/')
        values.addHost(host, "", ":");
}

void findInWord(std::string_view word, RedactedValues& values)
{
    size_t const equals = word.find('=');
    if (equals == std::string_view::npos)
        return;
    std::string_view const key = word.substr(0, equals + 1);
    std::string_view const value = word.substr(equals + 1);
    for (Option const& option : OPTIONS)
        if (key == option.key) {
            if (option.kind == Kind::HOST_NAME)
                values.addHost(value, key);
            else
                values.add(option.kind, value, key);
        }
    constexpr std::string_view ZFS = "ZFS=";
    constexpr size_t TYPE = 3; // "01-", the kind of hardware
    if (key == "BOOTIF=" && value.size() > TYPE)
        values.addresses.addHardware(bytesOf(core(value.substr(TYPE))));
    else if (key == "ip=")
        findInIp(value, values);
    else if (key == "nfsroot=" || key == "netroot="
        || (key == "root=" && value.find(':') < value.find_first_of("=/")))
        findInServer(value, values);
    else if (key == "root=" && value.substr(0, ZFS.size()) == ZFS)
        for (std::string_view rest = value.substr(ZFS.size()); !rest.empty();) {
            size_t const end = std::min(rest.find('/'), rest.size());
            values.add(Kind::VOLUME_LABEL, rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
}

}

void findBootOptions(std::string_view line, RedactedValues& values)
{
    for (std::string_view const word : wordsIn(line))
        findInWord(word, values);
}

}
