#include "tests/app/recording/RandomMachine.h"

#include "app/recording/redaction/redaction.h"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <linux/rtnetlink.h>
#include <random>
#include <set>

namespace app_recording_test {

namespace {

using Words = std::vector<std::string>;

constexpr char const* UPPER = "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
constexpr char const* LOWER = "abcdefghijklmnopqrstuvwxyz";
constexpr char const* HEX = "0123456789abcdef";
constexpr char const* ALL = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";

std::mt19937& generator()
{
    static std::mt19937 engine(20260324);
    return engine;
}

unsigned below(unsigned limit)
{
    return static_cast<unsigned>(generator()() % limit);
}

std::string random(std::string const& characters, size_t length)
{
    std::string text;
    while (text.size() < length)
        text += characters[below(static_cast<unsigned>(characters.size()))];
    return text;
}

template <class Make> Words different(Make const& make)
{
    std::set<std::string> known;
    Words words;
    while (words.size() < RandomMachine::COUNT)
        if (std::string const word = make(words.size()); known.insert(lower(word)).second)
            words.push_back(word);
    return words;
}

std::string number(unsigned value)
{
    return std::to_string(value);
}

std::string randomIpv4(size_t index)
{
    auto const part = [] { return "." + number(2 + below(252)); };
    switch (index % 4) {
    case 0:
        return "10" + part() + part() + part();
    case 1:
        return "172." + number(16 + below(16)) + part() + part();
    case 2:
        return "192.168" + part() + part();
    default:
        return number(11 + below(80)) + part() + part() + part();
    }
}

std::string randomIpv6(size_t index)
{
    std::string bytes = index % 3 == 0 ? std::string("\xfe\x80", 2) + std::string(6, '\0')
        : index % 3 == 1               ? "\xfd" + random(ALL, 7)
                                       : "\x2a" + random(ALL, 7);
    for (int i = 0; i < 8; ++i)
        bytes += static_cast<char>(0x11 + below(0xE0));
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(AF_INET6, bytes.data(), text.data(), text.size());
    return text.data();
}

std::string randomMac()
{
    std::string mac = "00:1b:21";
    for (int i = 0; i < 3; ++i)
        mac += ":" + random("123456789abcdef", 2);
    return mac;
}

std::string reversed(std::string text)
{
    return {text.rbegin(), text.rend()};
}

template <class Object> std::string raw(Object const& object)
{
    return {reinterpret_cast<char const*>(&object), sizeof(object)};
}

std::string attribute(unsigned short type, std::string const& value)
{
    rtattr header{};
    header.rta_type = type;
    header.rta_len = static_cast<unsigned short>(sizeof(header) + value.size());
    return raw(header) + value;
}

std::string routeMessage(std::string const& destination, std::string const& gateway)
{
    rtmsg route{};
    route.rtm_family = static_cast<unsigned char>(destination.size() == 4 ? AF_INET : AF_INET6);
    route.rtm_dst_len = static_cast<unsigned char>(destination.size() * 8);
    nlmsghdr header{};
    std::string const content = raw(route) + attribute(RTA_DST, destination)
        + attribute(RTA_GATEWAY, gateway) + attribute(200, gateway);
    header.nlmsg_type = RTM_NEWROUTE;
    header.nlmsg_len = static_cast<unsigned>(sizeof(header) + content.size());
    return "netlink 26 0 " + hexText(raw(header) + content);
}

void addDisk(RandomMachine& machine, size_t i)
{
    auto& files = machine.recording.files;
    std::string const n = std::to_string(i);
    std::string const& serial = machine.serials[i];
    std::string const& wwn = machine.wwns[i];
    std::string const& uuid = machine.uuids[i];
    std::string const& label = machine.labels[i];
    std::string const folder = "/sys/devices/pci0000:00/nvme/nvme" + n;
    std::string const node = "../../disk" + n;
    files.push_back(file(folder + "/serial", serial + "    \n"));
    files.push_back(file(folder + "/disk/wwid",
        i % 3 == 0       ? "naa." + wwn + "\n"
            : i % 3 == 1 ? "t10.ATA     ACME DISK        " + serial + "\n"
                         : "nvme.1af4-" + hexText(serial) + "-" + hexText("ACME") + "-00000001\n"));
    for (std::string const& name : {"ata-ACME_DISK_" + serial, "nvme-ACME_DISK_" + serial + "_1",
             "usb-ACME_DISK_" + serial + "-0:0-part1", "wwn-0x" + wwn, "scsi-3" + wwn + "-part2",
             "dm-uuid-mpath-3" + wwn, "nvme-eui." + wwn,
             "lvm-pv-uuid-" + dashedLvm(machine.lvmIds[i]),
             "dm-uuid-LVM-" + machine.lvmIds[i] + machine.lvmIds[(i + 1) % RandomMachine::COUNT]})
        files.push_back(link("/dev/disk/by-id/" + name, node));
    files.push_back(link("/dev/disk/by-uuid/" + uuid, node));
    files.push_back(link("/dev/disk/by-partuuid/" + upper(uuid), node));
    files.push_back(link("/dev/disk/by-label/" + label + "\\x20Disk", node));
    files.push_back(file("/run/udev/data/b8:" + n,
        "S:disk/by-id/ata-ACME_DISK_" + serial + "\nE:ID_SERIAL=ACME_DISK_" + serial
            + "\nE:ID_SERIAL_SHORT=" + serial + "\nE:ID_WWN=0x" + wwn + "\nE:ID_FS_UUID=" + uuid
            + "\nE:ID_FS_UUID_ENC=" + uuid + "\nE:ID_FS_LABEL=" + label + "\n"));
    files.push_back(file("/sys/devices/virtual/block/dm-" + n + "/dm/uuid",
        i % 2 == 0 ? "LVM-" + machine.lvmIds[i] + machine.lvmIds[i ^ 1U] + "\n"
                   : "CRYPT-LUKS2-" + without("-", uuid) + "-" + label + "_crypt\n"));
    files.push_back(file(
        "/sys/devices/virtual/block/dm-" + n + "/dm/name", label + "--x-volume" + label + "\n"));
    files.push_back(link("/dev/mapper/" + label + "--x-volume" + label, "../dm-" + n));
    files.push_back(file("/sys/devices/virtual/block/md" + n + "/md/uuid", uuid + "\n"));
}

void addAdapter(RandomMachine& machine, size_t i)
{
    auto& recording = machine.recording;
    std::string const n = std::to_string(i);
    std::string const& mac = machine.macs[i];
    std::string const folder = "/sys/devices/pci0000:00/net/eth" + n;
    recording.files.push_back(file(folder + "/address", mac + "\n"));
    recording.files.push_back(
        file(folder + "/bridge/bridge_id", "8000." + without(":", mac) + "\n"));
    recording.answers.push_back("adapter eth" + n + " " + n + " up,broadcast " + mac);
    recording.answers.push_back("address eth" + n + " " + machine.ipv4[i] + "/32");
    recording.answers.push_back("address eth" + n + " " + machine.ipv6[i] + "/64");
    recording.answers.push_back(routeMessage(ipBytes(machine.ipv4[i]), ipBytes(machine.ipv4[i])));
    recording.answers.push_back(routeMessage(ipBytes(machine.ipv6[i]), ipBytes(machine.ipv6[i])));
    recording.answers.push_back("statvfs \"/media/" + machine.users[i] + "/" + machine.labels[i]
        + "\" 4096 4096 1 1 1 1 1");
}

/** The bytes as dmidecode prints those of unknown structures. */
std::string bytePairs(std::string const& text)
{
    std::string pairs;
    for (char const c : text)
        pairs += upper(hexText({c})) + " ";
    return pairs;
}

/** The tables of all values. */
void addTables(RandomMachine& machine)
{
    std::string mounts;
    std::string info;
    std::string routes = "Iface\tDestination\tGateway \tFlags\tRefCnt\tUse\tMetric\tMask\t\tMTU\n";
    std::string inet6;
    std::string routes6;
    std::string trie;
    std::string resolver;
    std::string commandLine = "BOOT_IMAGE=/vmlinuz";
    for (size_t i = 0; i < RandomMachine::COUNT; ++i) {
        std::string const n = std::to_string(i);
        std::string const host = machine.hosts[i] + "." + machine.hosts[i ^ 1U] + ".net";
        std::string const point =
            "/media/" + machine.users[i] + "/" + machine.labels[i] + "\\040Disk";
        mounts += host + ":/export /srv/nfs" + n + " nfs4 rw,addr=" + machine.ipv4[i] + " 0 0\n"
            + "/dev/disk" + n + " " + point + " vfat rw,uid=1" + n
            + "7,username=" + machine.users[i] + " 0 0\n//" + machine.hosts[i] + "/share /home/"
            + machine.users[i] + "/share cifs rw 0 0\n" + machine.pools[i] + "/data /"
            + machine.pools[i] + " zfs rw 0 0\noverlay /var/lib/docker/overlay2/"
            + machine.containers[i] + "/merged overlay rw,upperdir=/home/" + machine.users[i] + "/"
            + machine.folders[i] + " 0 0\n" + machine.ipv4[i] + ":6789," + machine.hosts[i]
            + ":3300:/x /mnt/ceph" + n + " ceph rw,name=" + machine.users[i]
            + ",mon_addr=" + machine.ipv4[i] + ":6789,fs=" + machine.labels[i] + " 0 0\n";
        info += "30 29 8:" + n + " / " + point + " rw shared:1 - vfat /dev/disk" + n + " rw\n";
        std::string const reversedHex = upper(hexText(reversed(ipBytes(machine.ipv4[i]))));
        routes += "eth" + n + "\t" + reversedHex + "\t00000000\t0001\t0\t0\t0\tFFFFFFFF\t0\n"
            + "eth" + n + "\t00000000\t" + reversedHex + "\t0003\t0\t0\t0\t00000000\t0\n";
        inet6 += hexText(ipBytes(machine.ipv6[i])) + " 02 40 00 80     eth" + n + "\n"
            + eui64(machine.macs[i]) + " 02 40 20 80     eth" + n + "\n";
        routes6 += hexText(ipBytes(machine.ipv6[i])) + " 80 " + std::string(32, '0') + " 00 "
            + hexText(ipBytes(machine.ipv6[i])) + " 00000400 00000001 00000000 00000001     eth" + n
            + "\n";
        trie += "     |-- " + machine.ipv4[i] + "\n        /32 host LOCAL\n";
        resolver += "nameserver " + machine.ipv4[i] + "\nnameserver " + machine.ipv6[i]
            + "\nsearch " + host + "\n";
        commandLine += " root=UUID=" + machine.uuids[i] + " rd.lvm.lv=" + machine.labels[i]
            + "/root" + " LABEL=" + machine.labels[i];
    }
    auto& files = machine.recording.files;
    files.push_back(file("/proc/self/mounts", mounts));
    files.push_back(file("/proc/self/mountinfo", info));
    files.push_back(file("/proc/net/route", routes));
    files.push_back(file("/proc/net/if_inet6", inet6));
    files.push_back(file("/proc/net/ipv6_route", routes6));
    files.push_back(file("/proc/net/fib_trie", trie));
    files.push_back(file("/etc/resolv.conf", resolver));
    files.push_back(file("/proc/cmdline", commandLine + "\n"));
    files.push_back(file("/etc/hostname", machine.hosts[0] + "\n"));
    files.push_back(file("/etc/machine-id", without("-", machine.uuids[0]) + "\n"));
    files.push_back(
        file("/sys/devices/virtual/dmi/id/product_uuid", upper(machine.uuids[1]) + "\n"));
    files.push_back(file("/sys/devices/virtual/dmi/id/product_serial", machine.serials[1] + "\n"));
    files.push_back(
        file("/sys/devices/virtual/dmi/id/chassis_asset_tag", machine.serials[2] + "\n"));
    machine.recording.answers.push_back("hostname " + machine.hosts[0]);
}

void addTools(RandomMachine& machine)
{
    std::string firmware = "# dmidecode 3.6\n";
    std::string oldBlocks;
    std::string newBlocks;
    std::string bsdBlocks;
    std::string routes =
        "Kernel IP routing table\n"
        "Destination     Gateway         Genmask         Flags Metric Ref    Use Iface\n";
    std::string volumes;
    for (size_t i = 0; i < RandomMachine::COUNT; ++i) {
        std::string const n = std::to_string(i);
        std::string const& address = machine.ipv4[i];
        firmware += "\nHandle 0x2, DMI type 2, 15 bytes\nBase Board Information\n"
                    "\tLocation In Chassis: "
            + machine.notes[i] + "\n\nHandle 0x3, DMI type 216, 9 bytes\nOEM-specific Type\n"
            + "\tHeader and Data:\n\t\tD8 09 03 00 " + bytePairs(machine.notes[i])
            + "\n\tStrings:\n\t\t" + machine.notes[i] + "\n";
        firmware +=
            "\nHandle 0x1, DMI type 17, 92 bytes\nMemory Device\n\tSize: 8 GB\n\tSerial Number: "
            + machine.serials[i] + "\n\tAsset Tag: " + lower(machine.serials[i])
            + "\n\tUUID: " + machine.uuids[i] + "\n";
        oldBlocks += "eth" + n + "      Link encap:Ethernet  HWaddr " + upper(machine.macs[i])
            + "  \n          inet addr:" + address
            + "  Bcast:255.255.255.255  Mask:255.255.255.255\n"
            + "          inet6 addr: " + machine.ipv6[i] + "/64 Scope:Link\n\n";
        newBlocks += "eth" + n + ": flags=4163<UP>  mtu 1500\n        inet " + address
            + "  netmask 255.255.255.255  broadcast " + address + "\n        inet6 "
            + machine.ipv6[i] + "  prefixlen 64  scopeid 0x20<link>\n        ether "
            + machine.macs[i] + "  txqueuelen 1000  (Ethernet)\n\n";
        bsdBlocks += "eth" + n + ": flags=8843<UP> mtu 1500\n\tether " + machine.macs[i]
            + "\n\tinet " + address + " netmask 0xffffffff broadcast " + address + "\n";
        std::string column = address;
        column.resize(16, ' ');
        routes +=
            "0.0.0.0         " + column + "0.0.0.0         UG    0      0        0 eth" + n + "\n";
        volumes += "  /dev/disk" + n + ":" + machine.labels[i]
            + ":1:-1:8:8:-1:4096:1:0:1:" + dashedLvm(machine.lvmIds[i]) + "\n";
    }
    auto& tools = machine.recording.tools;
    tools.push_back(tool({"dmidecode"}, firmware));
    tools.push_back(tool({"ifconfig", "-a"}, newBlocks));
    tools.push_back(tool({"ifconfig-old", "-a"}, oldBlocks));
    tools.push_back(tool({"ifconfig-bsd", "-a"}, bsdBlocks));
    tools.push_back(tool({"route", "-n"}, routes));
    tools.push_back(tool({"pvdisplay", "-c"}, volumes));
    tools.back().errors = "No access to /dev/disk/by-id/ata-ACME_DISK_" + machine.serials[7] + "\n";
    for (size_t i = 0; i < RandomMachine::COUNT; ++i)
        tools.back().errors += "cannot open /mnt/" + machine.notes[i]
            + "/x: no such file\nunknown host " + machine.hosts[i] + "\n";
    tools.back().errorsSize = tools.back().errors.size();
    tools.push_back(tool({"cat", "/dev/disk/by-uuid/" + machine.uuids[3]}, ""));
}

void addDocument(RandomMachine& machine)
{
    std::string text =
        "{\"networks\": {\"host_name\": \"" + machine.hosts[0] + "\", \"adapters\": [";
    for (size_t i = 0; i < RandomMachine::COUNT; ++i)
        text += std::string(i == 0 ? "" : ",") + "{\"mac\": \"" + machine.macs[i]
            + "\", \"addresses\": [" + "{\"address\": \"" + machine.ipv4[i]
            + "\", \"prefix_length\": 32}, {\"address\": \"" + machine.ipv6[i]
            + "\", \"prefix_length\": 64}]}";
    text += "]}, \"disks\": [";
    for (size_t i = 0; i < RandomMachine::COUNT; ++i)
        text += std::string(i == 0 ? "" : ",") + "{\"serial\": \"" + machine.serials[i]
            + "\", \"label\": \"" + machine.labels[i] + "-root\", \"mount_point\": \"/home/"
            + machine.users[i] + "\", \"caption\": \"ACME_DISK_" + machine.serials[i] + "\"}";
    machine.recording.document = text + "]}";
}

}

app::RecordedFile file(std::string const& path, std::string const& content)
{
    app::RecordedFile result;
    result.path = path;
    result.kind = app::RecordedFile::REGULAR;
    result.content = content;
    result.size = content.size();
    result.opened = true;
    return result;
}

app::RecordedFile link(std::string const& path, std::string const& target)
{
    app::RecordedFile result = file(path, target);
    result.kind = app::RecordedFile::LINK;
    return result;
}

app::RecordedTool tool(std::vector<std::string> const& command, std::string const& output)
{
    app::RecordedTool result;
    result.command = command;
    result.output = output;
    result.outputSize = output.size();
    return result;
}

std::string contentOf(app::Recording const& recording, std::string const& path)
{
    for (app::RecordedFile const& one : recording.files)
        if (one.path == path)
            return one.content;
    return "no file " + path;
}

std::string redactedText(std::string const& path, std::string const& content)
{
    app::Recording recording;
    recording.files = {file(path, content)};
    app::redact(recording);
    return recording.files[0].content;
}

std::string outputOf(app::Recording const& recording, std::string const& name)
{
    for (app::RecordedTool const& one : recording.tools)
        if (one.command[0] == name)
            return one.output;
    return "no tool " + name;
}

std::string allTexts(app::Recording const& recording)
{
    std::string texts;
    for (auto const* const files : {&recording.files, &recording.later})
        for (app::RecordedFile const& one : *files)
            texts += one.path + "\n" + one.content + "\n";
    for (app::RecordedTool const& one : recording.tools) {
        for (std::string const& word : one.command)
            texts += word + "\n";
        texts += one.output + "\n" + one.errors + "\n";
    }
    for (std::string const& answer : recording.answers)
        texts += answer + "\n";
    return lower(texts + recording.document);
}

std::string hexText(std::string const& bytes)
{
    std::string text;
    for (char const c : bytes) {
        text += HEX[static_cast<unsigned char>(c) >> 4U];
        text += HEX[static_cast<unsigned char>(c) & 15U];
    }
    return text;
}

std::string ipBytes(std::string const& text)
{
    std::array<char, 16> bytes{};
    if (inet_pton(AF_INET, text.c_str(), bytes.data()) == 1)
        return {bytes.data(), 4};
    return inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1 ? std::string(bytes.data(), 16)
                                                                : "";
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return text;
}

std::string without(std::string const& characters, std::string text)
{
    text.erase(std::remove_if(text.begin(), text.end(),
                   [&](char c) { return characters.find(c) != std::string::npos; }),
        text.end());
    return text;
}

std::string upper(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
        [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return text;
}

std::string eui64(std::string const& mac)
{
    std::string digits = without(":", mac);
    std::string const first = digits.substr(1, 1);
    digits[1] = HEX[static_cast<unsigned>(std::string(HEX).find(first)) ^ 2U];
    return "fe80000000000000" + digits.substr(0, 6) + "fffe" + digits.substr(6);
}

std::string dashedLvm(std::string const& id)
{
    std::string text = id;
    for (size_t const place : {6, 11, 16, 21, 26, 31})
        text.insert(place, "-");
    return text;
}

RandomMachine::RandomMachine()
{
    generator().seed(20260324);
    serials = different([](size_t i) { return random(UPPER, 8 + i % 12) + "A1"; });
    uuids = different([](size_t) {
        return random(HEX, 8) + "-" + random(HEX, 4) + "-" + random(HEX, 4) + "-" + random(HEX, 4)
            + "-" + random(HEX, 12);
    });
    lvmIds = different([](size_t) { return random(ALL, 31) + "z"; });
    macs = different([](size_t) { return randomMac(); });
    ipv4 = different(randomIpv4);
    ipv6 = different(randomIpv6);
    hosts = different([](size_t i) { return random(LOWER, 8 + i % 5); });
    users = different([](size_t i) { return random(LOWER, 8 + i % 3); });
    wwns = different([](size_t) { return "5" + random(HEX, 15); });
    folders = different([](size_t i) { return random(LOWER, 8 + i % 4); });
    pools = different([](size_t i) { return random(LOWER, 9 + i % 4); });
    containers = different([](size_t) { return "a1" + random(HEX, 62); });
    notes = different([](size_t i) { return random(ALL, 10 + i % 4); });
    labels = different([](size_t i) { return random(ALL, 9 + i % 5) + "q"; });
    for (size_t i = 0; i < COUNT; ++i) {
        addDisk(*this, i);
        addAdapter(*this, i);
    }
    addTables(*this);
    addTools(*this);
    addDocument(*this);
    std::sort(recording.files.begin(), recording.files.end(),
        [](app::RecordedFile const& first, app::RecordedFile const& second) {
            return first.path < second.path;
        });
}

}
