#include "app/recording/redaction/escape_codes.h"
#include "app/recording/redaction/find_values.h"
#include "app/recording/redaction/lines.h"

#include <algorithm>
#include <vector>

namespace app {

namespace {

using Kind = RedactedKind;

/** A key and the first characters that do not belong to the value behind it. */
struct Key {
    char const* key;
    char const* ends;
    Kind kind;
};

constexpr char const* WORD_ENDS = " \t\"',:;)]}";
constexpr char const* NAME_ENDS = " \t\"',:;)]}/";

constexpr Key KEYS[] = {
    // dmidecode, /proc/scsi/usb-storage
    {"Serial Number: ", "", Kind::SERIAL_NUMBER},
    {"Asset Tag: ", "", Kind::SERIAL_NUMBER},
    {"Service Tag: ", "", Kind::SERIAL_NUMBER},
    {"UUID: ", "", Kind::UUID},
    {"Service Hostname: ", "", Kind::HOST_NAME},
    {"Serial\t\t: ", "", Kind::SERIAL_NUMBER}, // /proc/cpuinfo
    // udev
    {"ID_SERIAL_SHORT=", "", Kind::SERIAL_NUMBER},
    {"ID_SCSI_SERIAL=", "", Kind::SERIAL_NUMBER},
    {"ID_USB_SERIAL_SHORT=", "", Kind::SERIAL_NUMBER},
    {"SCSI_IDENT_SERIAL=", "", Kind::SERIAL_NUMBER},
    {"SCSI_IDENT_LUN_NAA_REG=", "", Kind::WWN},
    {"SCSI_IDENT_LUN_NAA_REGEXT=", "", Kind::WWN},
    {"SCSI_IDENT_LUN_EUI64=", "", Kind::WWN},
    {"SCSI_IDENT_PORT_NAA_REG=", "", Kind::WWN},
    {"ID_NAME_SERIAL=", "", Kind::SERIAL_NUMBER},
    {"ID_WWN=0x", "", Kind::WWN},
    {"ID_WWN_WITH_EXTENSION=0x", "", Kind::WWN},
    {"ID_FS_UUID=", "", Kind::UUID},
    {"ID_FS_UUID_SUB=", "", Kind::UUID},
    {"ID_PART_TABLE_UUID=", "", Kind::UUID},
    {"ID_PART_ENTRY_UUID=", "", Kind::UUID},
    {"MD_UUID=", "", Kind::UUID},
    {"ID_FS_LABEL=", "", Kind::VOLUME_LABEL},
    {"ID_FS_LABEL_ENC=", "", Kind::VOLUME_LABEL},
    {"ID_PART_ENTRY_NAME=", "", Kind::VOLUME_LABEL},
    {"ID_FS_VOLUME_ID=", "", Kind::VOLUME_LABEL},
    {"ID_FS_VOLUME_SET_ID=", "", Kind::VOLUME_LABEL},
    {"ID_FS_LOGICAL_VOLUME_ID=", "", Kind::VOLUME_LABEL},
    {"ID_FS_PUBLISHER_ID=", "", Kind::VOLUME_LABEL},
    {"ID_FS_DATA_PREPARER_ID=", "", Kind::VOLUME_LABEL},
    {"MD_DEVNAME=", "", Kind::VOLUME_LABEL},
    {"PARTNAME=", "", Kind::VOLUME_LABEL},
    {"ID_WWN_VENDOR_EXTENSION=0x", "", Kind::WWN},
    // kernel command line, fstab(5)
    {"UUID=", WORD_ENDS, Kind::UUID},
    {"PARTUUID=", WORD_ENDS, Kind::UUID},
    {"LABEL=", WORD_ENDS, Kind::VOLUME_LABEL},
    {"PARTLABEL=", WORD_ENDS, Kind::VOLUME_LABEL},
    {"LABEL=\"", "\"", Kind::VOLUME_LABEL},
    {"PARTLABEL=\"", "\"", Kind::VOLUME_LABEL},
    {"UUID=\"", "\"", Kind::UUID},
    {"PARTUUID=\"", "\"", Kind::UUID},
    {"dc=", WORD_ENDS, Kind::HOST_NAME},
    {"HOSTNAME=", WORD_ENDS, Kind::HOST_NAME},
    // mount(8), mount.cifs(8)
    {"domain=", WORD_ENDS, Kind::HOST_NAME},
    {"password=", WORD_ENDS, Kind::SERIAL_NUMBER},
    {"secret=", WORD_ENDS, Kind::SERIAL_NUMBER},
    {"username=", WORD_ENDS, Kind::USER_NAME},
    {"user=", WORD_ENDS, Kind::USER_NAME},
    {"uid=", WORD_ENDS, Kind::USER_NAME},
    {"gid=", WORD_ENDS, Kind::USER_NAME},
    {"cruid=", WORD_ENDS, Kind::USER_NAME},
    {"group_id=", WORD_ENDS, Kind::USER_NAME},
    {"user_id=", WORD_ENDS, Kind::USER_NAME},
    // paths
    {"/run/user/", NAME_ENDS, Kind::USER_NAME},
    {"/by-label/", NAME_ENDS, Kind::VOLUME_LABEL},
    {"/by-partlabel/", NAME_ENDS, Kind::VOLUME_LABEL},
    {"/by-uuid/", NAME_ENDS, Kind::UUID},
    {"/by-partuuid/", NAME_ENDS, Kind::UUID},
    {"naa.", "", Kind::WWN},
    {"eui.", "", Kind::WWN},
    {"wwn-0x", "", Kind::WWN},
    {"sas-0x", "", Kind::WWN},
    {"fc-0x", "", Kind::WWN},
    {"/overlay2/l/", NAME_ENDS, Kind::UUID},
};

/** The value up to its end. A WWN ends with its digits. */
std::string_view valueOf(Key const& key, std::string_view behind)
{
    if (key.kind != Kind::WWN)
        return behind.substr(0, behind.find_first_of(key.ends));
    size_t length = 0;
    while (length < behind.size() && isHexDigit(behind[length]))
        ++length;
    return behind.substr(0, length);
}

void findKey(Key const& key, std::string_view line, RedactedValues& values)
{
    std::string_view const name = key.key;
    for (size_t place = line.find(name); place != std::string_view::npos;
         place = line.find(name, place + 1)) {
        bool const isPartOfOther = isAlphanumeric(name[0]) && place > 0
            && (isAlphanumeric(line[place - 1]) || line[place - 1] == '_') && key.kind != Kind::WWN;
        std::string const value = decoded(valueOf(key, line.substr(place + name.size())));
        // The numbers below 100 are the system's own users and groups.
        bool const isSystems = key.kind == Kind::USER_NAME && value.size() < 3
            && std::all_of(value.begin(), value.end(), isDigit);
        if (isPartOfOther || isSystems || value.empty() || value == "0" || value[0] == '$'
            || value == "<hidden>")
            continue;
        if (key.kind == Kind::HOST_NAME)
            values.addHost(value, name);
        else
            values.add(key.kind, value, name);
    }
}

/** The device-mapper names of paths and of udev's properties. */
void findMappedNames(std::string_view line, RedactedValues& values)
{
    for (std::string_view const key : {"/dev/mapper/", "DM_NAME=", "disk/by-id/dm-name-"})
        for (size_t place = line.find(key); place != std::string_view::npos;
             place = line.find(key, place + 1)) {
            std::string_view const rest = line.substr(place + key.size());
            findInMappedName(rest.substr(0, rest.find_first_of(NAME_ENDS)), values);
        }
    // A common name stays in all places, or the tables do not fit together any more.
    for (std::string_view const key : {"DM_VG_NAME=", "DM_LV_NAME="})
        if (size_t const place = line.find(key); place != std::string_view::npos)
            values.add(Kind::VOLUME_LABEL, line.substr(place + key.size()));
    constexpr std::string_view VOLUME = "rd.lvm.lv=";
    if (size_t const place = line.find(VOLUME); place != std::string_view::npos) {
        std::string_view const rest = line.substr(place + VOLUME.size());
        std::string_view const both = rest.substr(0, rest.find_first_of(WORD_ENDS));
        size_t const slash = both.find('/');
        values.add(Kind::VOLUME_LABEL, both.substr(0, slash));
        if (slash != std::string_view::npos)
            values.add(Kind::VOLUME_LABEL, both.substr(slash + 1));
    }
}

/** The names within "iqn.2001-05.com.example:storage.lun1", RFC 3720, and in the names of NVMe,
 * "nqn.2014-08.com.example:nvme". */
void findQualifiedNames(std::string_view line, RedactedValues& values)
{
    constexpr size_t DATE = 8; // "2001-05."
    std::string const text = lowered(line);
    for (size_t place = text.find("qn."); place != std::string::npos;
         place = text.find("qn.", place + 1)) {
        bool const isName = place > 0 && (text[place - 1] == 'i' || text[place - 1] == 'n');
        if (!isName || line.size() < place + 3 + DATE || !isDigit(line[place + 3]))
            continue;
        std::string_view const rest = line.substr(place + 3 + DATE);
        std::string_view const name = rest.substr(0, rest.find_first_of(" \t\"',;"));
        std::string_view domain = name.substr(0, name.find(':'));
        // The domain's last part comes first.
        while (domain.find('.') != std::string_view::npos) {
            domain.remove_prefix(domain.find('.') + 1);
            values.add(Kind::HOST_NAME, domain.substr(0, domain.find('.')));
        }
        if (size_t const colon = name.find(':'); colon != std::string_view::npos)
            values.add(Kind::HOST_NAME,
                name.substr(colon + 1, name.find("-lun-", colon) - colon - 1), ":");
    }
}

/** The links that udev's database lists, "S:disk/by-id/ata-...", and all others. */
void findDiskIds(std::string_view line, RedactedValues& values)
{
    constexpr std::string_view FOLDER = "disk/by-id/";
    for (size_t place = line.find(FOLDER); place != std::string_view::npos;
         place = line.find(FOLDER, place + 1)) {
        std::string_view const rest = line.substr(place + FOLDER.size());
        findInDiskId(rest.substr(0, rest.find_first_of(" \t\"',;)]}/")), values);
    }
    constexpr std::string_view UUID = "DM_UUID=";
    if (size_t const place = line.find(UUID); place != std::string_view::npos)
        findInDiskId("dm-uuid-" + std::string(line.substr(place + UUID.size())), values);
    constexpr std::string_view NAME = "MD_NAME=";
    if (size_t const place = line.find(NAME); place != std::string_view::npos)
        findInDiskId("md-name-" + std::string(line.substr(place + NAME.size())), values);
    // Of a virtio disk. Others have the model before it.
    constexpr std::string_view SERIAL = "ID_SERIAL=";
    if (size_t const place = line.find(SERIAL); place != std::string_view::npos)
        if (std::string_view const serial = line.substr(place + SERIAL.size());
            serial.find('_') == std::string_view::npos)
            findInDiskId("virtio-" + std::string(serial), values);
}

}

void findByKeys(std::string_view text, RedactedValues& values)
{
    for (std::string_view const line : linesIn(text)) {
        for (Key const& key : KEYS)
            findKey(key, line, values);
        findPaths(line, values);
        findMappedNames(line, values);
        findQualifiedNames(line, values);
        findDiskIds(line, values);
        findBootOptions(line, values);
    }
}

}
