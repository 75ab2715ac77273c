#include "app/read/mount_table.h"
#include "app/read/rtnetlink.h"
#include "app/recording/redaction/redaction.h"
#include "sysinfo/parsers/dmidecode_output.h"
#include "sysinfo/parsers/ifconfig_output.h"
#include "sysinfo/parsers/pvdisplay_output.h"
#include "sysinfo/parsers/resolv_conf.h"
#include "sysinfo/parsers/route_output.h"
#include "tests/app/recording/RandomMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <linux/rtnetlink.h>
#include <sstream>

using app::Recording;
using app_recording_test::contentOf;
using app_recording_test::file;
using app_recording_test::hexText;
using app_recording_test::ipBytes;
using app_recording_test::outputOf;
using app_recording_test::RandomMachine;
using app_recording_test::tool;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

namespace {

Recording redactedFile(std::string const& path, std::string const& content)
{
    Recording recording;
    recording.files = {file(path, content)};
    app::redact(recording);
    return recording;
}

std::string redactedContent(std::string const& path, std::string const& content)
{
    return redactedFile(path, content).files[0].content;
}

std::string redactedOutput(std::string const& name, std::string const& output)
{
    Recording recording;
    recording.tools = {tool({name}, output)};
    app::redact(recording);
    return recording.tools[0].output;
}

std::vector<std::string> gatewaysOf(std::string const& output)
{
    std::istringstream text(output);
    std::vector<std::string> gateways;
    sysinfo::readGateways(text, [&](std::string const& gateway) { gateways.push_back(gateway); });
    return gateways;
}

template <class Object> std::string objectBytes(Object const& object)
{
    return {reinterpret_cast<char const*>(&object), sizeof(object)};
}

std::string attributeBytes(unsigned short type, std::string const& value)
{
    rtattr header{};
    header.rta_type = type;
    header.rta_len = static_cast<unsigned short>(sizeof(header) + value.size());
    std::string bytes = objectBytes(header) + value;
    bytes.resize((bytes.size() + 3) / 4 * 4);
    return bytes;
}

std::string hopBytes(int adapter, std::string const& attributes)
{
    rtnexthop hop{};
    hop.rtnh_ifindex = adapter;
    hop.rtnh_len = static_cast<unsigned short>(sizeof(hop) + attributes.size());
    return objectBytes(hop) + attributes;
}

std::string messageBytes(unsigned short type, std::string const& content)
{
    nlmsghdr header{};
    header.nlmsg_type = type;
    header.nlmsg_len = static_cast<unsigned>(sizeof(header) + content.size());
    return objectBytes(header) + content;
}

std::string defaultRoute(std::string const& attributes)
{
    rtmsg route{};
    route.rtm_family = AF_INET;
    route.rtm_table = RT_TABLE_MAIN;
    route.rtm_type = RTN_UNICAST;
    return messageBytes(RTM_NEWROUTE, objectBytes(route) + attributes);
}

std::string bytesOfHex(std::string const& hex)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

/** @return the redacted messages. */
std::vector<std::string> redactedMessages(std::vector<std::string> const& messages)
{
    Recording recording;
    for (std::string const& message : messages)
        recording.answers.push_back("netlink 26 0 " + hexText(message));
    app::redact(recording);
    std::vector<std::string> result;
    for (std::string const& answer : recording.answers)
        result.push_back(bytesOfHex(answer.substr(answer.rfind(' ') + 1)));
    return result;
}

}

TEST(Redaction, theParsersReadTheSameNumberOfRecords)
{
    RandomMachine const machine;
    Recording recording = machine.recording;
    app::redact(recording);
    for (char const* const name : {"ifconfig", "ifconfig-old", "ifconfig-bsd"}) {
        std::istringstream output(outputOf(recording, name));
        size_t addresses = 0;
        size_t hardware = 0;
        auto const end = [&](sysinfo::AdapterText const& adapter) {
            addresses += adapter.addresses.size();
            hardware += adapter.hardwareAddresses.size();
        };
        end(sysinfo::readAdapters(
            output, [](std::string const&) {}, end));
        EXPECT_GE(addresses, RandomMachine::COUNT) << name;
        EXPECT_EQ(hardware, RandomMachine::COUNT) << name;
    }
    for (std::string const& gateway : gatewaysOf(outputOf(recording, "route")))
        EXPECT_EQ(ipBytes(gateway).size(), 4U) << gateway;
    EXPECT_THAT(gatewaysOf(outputOf(recording, "route")), SizeIs(RandomMachine::COUNT));
    EXPECT_THAT(app::parseMounts(contentOf(recording, "/proc/self/mounts")).entries,
        SizeIs(6 * RandomMachine::COUNT));
    EXPECT_THAT(app::parseMountInfo(contentOf(recording, "/proc/self/mountinfo")).entries,
        SizeIs(RandomMachine::COUNT));

    std::istringstream resolver(contentOf(recording, "/etc/resolv.conf"));
    size_t servers = 0;
    sysinfo::readNameServers(resolver, [&](std::string const& server) {
        ++servers;
        EXPECT_FALSE(ipBytes(server).empty()) << server;
    });
    EXPECT_EQ(servers, 2 * RandomMachine::COUNT);

    auto const sum = [](Recording const& of) {
        std::istringstream firmware(outputOf(of, "dmidecode"));
        struct Listener final : sysinfo::FirmwareDumpListener {
        } listener;
        return sysinfo::sumOfModules(firmware, listener);
    };
    EXPECT_NE(sum(recording), 0U);
    EXPECT_EQ(sum(recording), sum(machine.recording));

    std::istringstream volumes(outputOf(recording, "pvdisplay"));
    size_t found = 0;
    sysinfo::readPhysicalVolumes(volumes, "  /dev/disk7", [&](std::string const& group) {
        ++found;
        EXPECT_EQ(group.size(), machine.labels[7].size() + 1) << group;
    });
    EXPECT_EQ(found, 1U);
}

TEST(Redaction, theColumnsOfRoutesStay)
{
    std::string const output =
        "Kernel IP routing table\n"
        "Destination     Gateway         Genmask         Flags Metric Ref    Use Iface\n"
        "10.100.200.100  10.20.30.140    255.255.255.255 UGH   0      0        0 eth0\n"
        "192.168.100.128 10.1.2.3        255.255.255.128 UG    0      0        0 eth0\n"
        "10.1.0.0        172.16.100.200  255.255.0.0     UG    0      0        0 eth0\n";
    for (int i = 0; i < 30; ++i) {
        std::string const redacted = redactedOutput("route", output);
        EXPECT_NE(redacted, output);
        EXPECT_EQ(redacted.size(), output.size()) << redacted;
        auto const gateways = gatewaysOf(redacted);
        ASSERT_THAT(gateways, SizeIs(3)) << redacted;
        for (std::string const& gateway : gateways)
            EXPECT_EQ(ipBytes(gateway).size(), 4U) << redacted;
        EXPECT_THAT(redacted, HasSubstr(" 255.255.255.128 UG"));
    }
}

TEST(Redaction, versionsAreNoAddresses)
{
    for (auto const& [path, text] : {std::pair("/etc/os-release", "VERSION_ID=\"5.4.0.1\"\n"),
             std::pair("/sys/devices/pci0000:00/nvme/nvme0/firmware_rev", "3.2.11.5\n"),
             std::pair("/sys/devices/virtual/dmi/id/bios_version", "10.20.30.40\n"),
             std::pair("/proc/version", "Linux version 5.4.0.1 (gcc 10.2.1.6)\n"),
             std::pair("/tmp/text", "Firmware Revision: 10.20.30.40\n")})
        EXPECT_EQ(redactedContent(path, text), text) << path;
    Recording recording;
    recording.answers = {"uname 5.4.0.1 i686"};
    recording.document =
        R"({"system": {"kernel": "5.4.0.1", "firmware": {"version": "10.20.30.40"}}})";
    Recording const before = recording;
    app::redact(recording);
    EXPECT_EQ(recording.answers, before.answers);
    EXPECT_EQ(recording.document, before.document);
}

TEST(Redaction, anAddressOnTheKernelsCommandLineIsReplaced)
{
    EXPECT_THAT(redactedContent("/proc/cmdline", "crashkernel=auto nfsroot=10.9.8.7:/root\n"),
        Not(HasSubstr("10.9.8.7")));
}

TEST(Redaction, commonWordsStayButNotAsAName)
{
    Recording recording;
    recording.files = {file("/etc/hostname", "gateway\n"),
        file("/sys/devices/virtual/block/dm-0/dm/name", "system-root\n")};
    recording.tools = {tool({"route"}, "Destination     Gateway         Genmask\n")};
    recording.document = R"({"networks": {"host_name": "gateway", "gateways": []}})";
    app::redact(recording);
    EXPECT_THAT(recording.files[0].content, Not(HasSubstr("gateway")));
    EXPECT_EQ(recording.files[1].content, "system-root\n");
    EXPECT_THAT(recording.tools[0].output, HasSubstr("Gateway  "));
    EXPECT_THAT(recording.document, Not(HasSubstr(R"("host_name": "gateway")")));
    EXPECT_THAT(recording.document, HasSubstr(R"("gateways": [])"));
}

TEST(Redaction, namesThatThePathsOfQueriesConsistOfStay)
{
    Recording recording;
    recording.files = {file("/run/udev/data/b8:0", "E:ID_FS_LABEL=udev\n"),
        file("/sys/class/block/sda/size", "1\n"), file("/etc/hostname", "block\n")};
    app::redact(recording);
    EXPECT_THAT(contentOf(recording, "/run/udev/data/b8:0"), StartsWith("E:ID_FS_LABEL="));
    EXPECT_EQ(contentOf(recording, "/sys/class/block/sda/size"), "1\n");
    EXPECT_NE(contentOf(recording, "/etc/hostname"), "block\n");
}

TEST(Redaction, theWordsThatToolsPrintStay)
{
    app::Recording recording;
    std::string const firmware =
        "Handle 0x1100, DMI type 17, 84 bytes\nMemory Device\n\tSize: 16 GB\n\tLocator: A1\n";
    std::string const adapters = "eth0: flags=4163<UP>  mtu 1500\n        inet 192.0.2.1  netmask "
                                 "255.255.255.0\n";
    recording.tools = {tool({"dmidecode"}, firmware), tool({"ifconfig", "-a"}, adapters)};
    recording.files = {file("/etc/hostname", "size\n"), file("/proc/meminfo", "MemTotal: 4 kB\n"),
        file("/run/udev/data/b8:1",
            "E:ID_FS_LABEL=Locator\nE:ID_FS_LABEL=netmask\nE:ID_FS_LABEL=memtotal\n")};
    app::redact(recording);
    EXPECT_EQ(recording.tools[0].output, firmware);
    EXPECT_EQ(recording.tools[1].output, adapters);
    EXPECT_EQ(contentOf(recording, "/proc/meminfo"), "MemTotal: 4 kB\n");
    EXPECT_NE(contentOf(recording, "/etc/hostname"), "size\n");
    for (char const* const label : {"=Locator", "=netmask", "=memtotal"})
        EXPECT_THAT(contentOf(recording, "/run/udev/data/b8:1"), Not(HasSubstr(label)));
}

TEST(Redaction, aTopLevelDomainOfOnesOwnIsReplaced)
{
    EXPECT_THAT(redactedContent("/etc/hostname", "qhost.quux.muppets\n"),
        MatchesRegex("[a-z]{5}.[a-z]{4}.[a-z]{7}\n"));
    EXPECT_THAT(
        redactedContent("/etc/hostname", "qhost.quux.muppets\n"), Not(HasSubstr("muppets")));
    EXPECT_THAT(redactedContent("/etc/hostname", "qhost.quux.net\n"), MatchesRegex(".*[.]net\n"));
}

TEST(Redaction, whatNobodySetStays)
{
    std::string const firmware =
        "\tSerial Number: Not Specified\n\tAsset Tag: To Be Filled By O.E.M.\n"
        "\tSerial Number: 00000000\n\tUUID: 00000000-0000-0000-0000-000000000000\n";
    EXPECT_EQ(redactedOutput("dmidecode", firmware), firmware);
    std::string const route =
        "Iface\tDestination\tGateway\neth0\t00000000\t00000000\t0001\t0\t0\t0\t00000000\n";
    EXPECT_EQ(redactedContent("/proc/net/route", route), route);
    std::string const ether = "link/ether 00:00:00:00:00:00 brd ff:ff:ff:ff:ff:ff\n";
    EXPECT_EQ(redactedOutput("ip", ether), ether);
}

TEST(Redaction, aShortSerialNumberIsReplacedWhereItIsNamed)
{
    Recording recording;
    recording.files = {file("/sys/devices/virtio1/block/vda/serial", "17\n"),
        file("/sys/devices/virtio1/block/vda/size", "17\n")};
    app::redact(recording);
    EXPECT_EQ(contentOf(recording, "/sys/devices/virtio1/block/vda/size"), "17\n");
    EXPECT_NE(contentOf(recording, "/sys/devices/virtio1/block/vda/serial"), "17\n");
}

TEST(Redaction, aGuestsSerialNumberFollowsItsUuid)
{
    std::string const output = redactedOutput("dmidecode",
        "\tSerial Number: VMware-56 4d fd 28 89 33 f8 e2-64 74 01 59 92 3b 58 0e\n"
        "\tUUID: 28fd4d56-3389-e2f8-6474-0159923b580e\n");
    EXPECT_THAT(output, Not(HasSubstr("56 4d fd")));
    std::string const serial = output.substr(output.find("VMware-") + 7, 47);
    std::string const uuid = output.substr(output.find("UUID: ") + 6, 36);
    auto const pair = [&](size_t i) { return serial.substr(i * 3, 2); };
    EXPECT_EQ(uuid.substr(0, 8), pair(3) + pair(2) + pair(1) + pair(0));
    EXPECT_EQ(uuid.substr(19, 4), pair(8) + pair(9));
}

TEST(Redaction, theIdentifiersOfUdevAreReplaced)
{
    Recording recording;
    recording.files = {file("/run/udev/data/b8:2",
        "E:ID_USB_SERIAL=Acme_Stick_4C530001\nE:ID_USB_SERIAL_SHORT=4C530001\n"
        "E:SCSI_IDENT_SERIAL=ZA1B2C3D\nE:SCSI_IDENT_LUN_NAA_REG=5000c500a0b1c2d3\n"
        "E:DM_UUID=LVM-AbCdEfGhIjKlMnOpQrStUvWxYz0123456789AbCdEfGhIjKlMnOpQrStUvWxYz01\n")};
    app::redact(recording);
    for (char const* const value : {"4C530001", "ZA1B2C3D", "5000c500a0b1c2d3", "AbCdEfGh"})
        EXPECT_THAT(recording.files[0].content, Not(HasSubstr(value)));
    EXPECT_THAT(recording.files[0].content, HasSubstr("E:ID_USB_SERIAL=Acme_Stick_"));
}

TEST(Redaction, theDomainAndTheUserOfACifsMountAreReplaced)
{
    Recording recording;
    recording.files = {file("/proc/self/mounts",
        "//10.0.0.9/s /mnt cifs rw,username=gerda,domain=MUPPETDOM,uid=0 0 0\n")};
    app::redact(recording);
    EXPECT_THAT(recording.files[0].content, Not(HasSubstr("MUPPETDOM")));
    EXPECT_THAT(recording.files[0].content, Not(HasSubstr("gerda")));
    EXPECT_THAT(recording.files[0].content, HasSubstr(",domain="));
}

TEST(Redaction, theAddressInAnAdaptersNameIsReplaced)
{
    Recording recording;
    recording.files = {file("/sys/class/net/wlx5c6d7e8f9a0b/address", "02:11:22:33:44:55\n")};
    app::redact(recording);
    EXPECT_THAT(
        recording.files[0].path, MatchesRegex("/sys/class/net/wlx5c6d7e[0-9a-f]{6}/address"));
    EXPECT_THAT(recording.files[0].path, Not(HasSubstr("8f9a0b")));
}

TEST(Redaction, theFilesStaySortedByPath)
{
    RandomMachine const machine;
    Recording recording = machine.recording;
    app::redact(recording);
    for (size_t i = 1; i < recording.files.size(); ++i)
        EXPECT_LT(recording.files[i - 1].path, recording.files[i].path);
    EXPECT_EQ(recording.files.size(), machine.recording.files.size());
}

TEST(Redaction, labelsOutsideAsciiAreReplacedInEachSpelling)
{
    Recording recording;
    recording.files = {file("/run/udev/data/b8:1",
                           "E:ID_FS_LABEL=Gr\xC3\xB6\xC3\x9F"
                           "e\n"),
        file("/proc/self/mounts",
            "/dev/sda1 /media/gerda/Gr\xC3\xB6\xC3\x9F"
            "e vfat rw 0 0\n"),
        file("/dev/disk/by-label/Gr\\xc3\\xb6\\xc3\\x9fe", "../../sda1")};
    recording.document = R"({"mount_point": "/media/gerda/Gr\u00f6\u00dfe"})";
    app::redact(recording);
    std::string const mounts = contentOf(recording, "/proc/self/mounts");
    EXPECT_THAT(mounts, Not(HasSubstr("\xC3\xB6\xC3\x9F")));
    EXPECT_THAT(
        mounts, MatchesRegex("/dev/sda1 /media/[a-z]{5}/[A-Z][a-z][^ ]{4}[a-z] vfat rw 0 0\n"));
    for (app::RecordedFile const& one : recording.files)
        EXPECT_THAT(one.path, Not(HasSubstr("Gr\\x")));
    EXPECT_THAT(recording.document, Not(HasSubstr("Gr")));
    EXPECT_THAT(recording.document, MatchesRegex(".*/[A-Z][a-z](\\\\u[0-9a-f]{4}){2}[a-z]\"}"));
}

TEST(Redaction, theHopsOfARouteAreReplaced)
{
    std::string const first = ipBytes("10.1.2.3");
    std::string const second = ipBytes("fd00:1:2:3::77");
    std::string const via = objectBytes(static_cast<unsigned short>(AF_INET6)) + second;
    auto const message = redactedMessages({defaultRoute(attributeBytes(RTA_MULTIPATH,
        hopBytes(2, attributeBytes(RTA_GATEWAY, first))
            + hopBytes(3, attributeBytes(18, via))))})[0];
    auto const hops = app::nextHopsIn(message);
    ASSERT_THAT(hops, SizeIs(2));
    EXPECT_EQ(hops[0].adapter, 2U);
    EXPECT_THAT(hops[0].gateway, StartsWith("10."));
    EXPECT_NE(hops[0].gateway, "10.1.2.3");
    EXPECT_EQ(hops[1].adapter, 3U);
    EXPECT_THAT(hops[1].gateway, StartsWith("fd"));
    EXPECT_NE(hops[1].gateway, "fd00:1:2:3::77");
}

TEST(Redaction, unknownAttributesAreDropped)
{
    std::string const secret = "10.1.2.3 in words";
    auto const message = redactedMessages({defaultRoute(
        attributeBytes(200, secret) + attributeBytes(RTA_GATEWAY, ipBytes("10.1.2.3")))})[0];
    EXPECT_THAT(message, Not(HasSubstr("words")));
    EXPECT_EQ(message.size(), sizeof(nlmsghdr) + sizeof(rtmsg) + sizeof(rtattr) + 4);
    unsigned length = 0;
    std::copy_n(message.begin(), sizeof(length), reinterpret_cast<char*>(&length));
    EXPECT_EQ(length, message.size());
    EXPECT_THAT(app::nextHopsIn(message), SizeIs(1));
}

TEST(Redaction, addressesAndNextHopsOfNetlinkAreReplaced)
{
    ifaddrmsg address{};
    address.ifa_family = AF_INET;
    address.ifa_prefixlen = 24;
    std::string const nextHop = std::string(1, AF_INET) + std::string(7, '\0');
    auto const messages = redactedMessages({
        messageBytes(RTM_NEWADDR,
            objectBytes(address) + attributeBytes(IFA_ADDRESS, ipBytes("10.1.2.77"))
                + attributeBytes(IFA_LOCAL, ipBytes("10.1.2.77"))
                + attributeBytes(IFA_BROADCAST, ipBytes("10.1.2.255"))),
        messageBytes(104, nextHop + attributeBytes(6, ipBytes("10.1.2.1"))),
        messageBytes(77, "of a type that nobody knows"),
    });
    auto const addresses = app::scopedAddressesIn(messages[0]);
    ASSERT_THAT(addresses, SizeIs(1));
    EXPECT_NE(addresses[0].address, "10.1.2.77");
    std::string const network = ipBytes(addresses[0].address).substr(0, 3);
    EXPECT_THAT(messages[0], HasSubstr(network + "\xff")) << "the broadcast address";
    EXPECT_THAT(messages[1], HasSubstr(network + "\1")) << "the gateway is in the network";
    EXPECT_EQ(messages[2].size(), sizeof(nlmsghdr)) << "the header alone";
}

TEST(Redaction, theHardwareAddressOfATunnelIsAnIpAddress)
{
    std::string const address = ipBytes("10.1.2.77");
    ifinfomsg const tunnel{};
    ifaddrmsg local{};
    local.ifa_family = AF_INET;
    local.ifa_prefixlen = 24;
    auto const messages = redactedMessages(
        {messageBytes(RTM_NEWLINK, objectBytes(tunnel) + attributeBytes(IFLA_ADDRESS, address)),
            messageBytes(RTM_NEWADDR, objectBytes(local) + attributeBytes(IFA_LOCAL, address))});
    auto const last = [&](std::string const& message) {
        return message.substr(message.size() - address.size());
    };
    EXPECT_NE(last(messages[0]), address);
    EXPECT_EQ(last(messages[0]), last(messages[1]));
}

TEST(Redaction, theHardwareAddressOfALinkIsReplacedAndItsNameStays)
{
    std::string const address("\x02\x11\x22\x33\x44\x55", 6);
    std::string const name("qport0\0", 7);
    std::string const message = redactedMessages({messageBytes(RTM_NEWLINK,
        objectBytes(ifinfomsg{}) + attributeBytes(IFLA_IFNAME, name)
            + attributeBytes(IFLA_ADDRESS, address))})[0];
    EXPECT_THAT(message, HasSubstr(name));
    EXPECT_THAT(message, HasSubstr(address.substr(0, 3)));
    EXPECT_THAT(message, Not(HasSubstr(address.substr(3))));
}

TEST(Redaction, aMessageThatIsCutShortIsNoError)
{
    std::string const whole = defaultRoute(attributeBytes(RTA_GATEWAY, ipBytes("10.1.2.3")));
    for (size_t size = sizeof(nlmsghdr); size < whole.size(); ++size)
        EXPECT_THAT(app::nextHopsIn(redactedMessages({whole.substr(0, size)})[0]), IsEmpty())
            << size;
}

TEST(Redaction, anAnswerWithoutAMessageStays)
{
    Recording recording;
    recording.answers = {"netlink 26 0", "netlink 22 0 EACCES", "netlink 22 0 13"};
    Recording const before = recording;
    app::redact(recording);
    EXPECT_EQ(recording.answers, before.answers);
}

TEST(Redaction, anEmptyRecordingIsMarked)
{
    Recording recording;
    app::redact(recording);
    EXPECT_TRUE(recording.redacted);
    EXPECT_THAT(recording.replacements, SizeIs(8));
    EXPECT_EQ(recording.replacements[2].kind, "mac_address");
    EXPECT_EQ(recording.replacements[2].values, 0U);
}
