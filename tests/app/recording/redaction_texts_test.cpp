// Names and addresses in texts that people and tools write.

#include "app/recording/redaction/redaction.h"
#include "tests/app/recording/RandomMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

using app_recording_test::allTexts;
using app_recording_test::contentOf;
using app_recording_test::file;
using app_recording_test::hexText;
using app_recording_test::link;
using app_recording_test::lower;
using app_recording_test::redactedText;
using app_recording_test::tool;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

app::Recording redactedRun(
    std::string const& name, std::string const& output, std::string const& errors = "")
{
    app::Recording recording;
    recording.tools = {tool({name}, output)};
    recording.tools[0].errors = errors;
    recording.tools[0].errorsSize = errors.size();
    app::redact(recording);
    return recording;
}

void expectNoneIn(std::string const& text, std::vector<std::string> const& names)
{
    for (std::string const& name : names)
        EXPECT_THAT(lower(text), Not(HasSubstr(lower(name))));
}

}

TEST(RedactionOfTexts, replacesWhatPeopleTypeIntoTheFirmware)
{
    auto const recording = redactedRun("dmidecode",
        "# dmidecode 3.6\n\nHandle 0x0001, DMI type 1, 27 bytes\nSystem Information\n"
        "\tManufacturer: Acme\n\tProduct Name: Server Mueller\n\tSKU Number: Mueller\n\n"
        "Handle 0x0002, DMI type 2, 15 bytes\nBase Board Information\n\tAsset Tag: Kontor\n"
        "\tLocation In Chassis: Cellar behind\n\nHandle 0x000B, DMI type 11, 5 bytes\nOEM Strings\n"
        "\tString 1: ringing robert\n\tString 2: Not Specified\n\n"
        "Handle 0x000C, DMI type 12, 5 bytes\nSystem Configuration Options\n\tOption 1: window "
        "7\n\n"
        "Handle 0x0027, DMI type 39, 22 bytes\nSystem Power Supply\n\tLocation: Attic\n\n"
        "Handle 0x00D8, DMI type 216, 14 bytes\nOEM-specific Type\n\tHeader and Data:\n"
        "\t\tD8 0E D8 00 41 42 43 44 45 46 47 48 49\n\t\t4A 4B\n"
        "\tStrings:\n\t\tpincode 123456\n\n"
        "Handle 0x0011, DMI type 17, 92 bytes\nMemory Device\n\tSize: 8 GB\n\tLocator: DIMM 0\n");
    std::string const& output = recording.tools[0].output;
    expectNoneIn(output,
        {"sku number: mueller", "kontor", "cellar", "behind", "ringing", "robert", "window",
            "attic", "41 42", "45 46", "4a 4b", "pincode", "123456"});
    EXPECT_THAT(output, HasSubstr("\tProduct Name: Server Mueller\n")) << "a model stays";
    EXPECT_THAT(output, HasSubstr("\tString 2: Not Specified\n"));
    EXPECT_THAT(output,
        HasSubstr("\t\tD8 0E D8 00 00 00 00 00 00 00 00 00 00\n\t\t00 00\n\tStrings:\n\t\t"));
    EXPECT_THAT(output, HasSubstr("Memory Device\n\tSize: 8 GB\n\tLocator: DIMM 0\n"));
}

TEST(RedactionOfTexts, replacesPathsAndHostsInErrors)
{
    auto const recording = redactedRun("pvdisplay", "",
        "cannot open /mnt/payroll/q3: No such file, see /etc/lvm/lvm.conf\n"
        "/customers: Permission denied\n"
        "qfs1.quux.net: Name or service not known (libfoo.so.1)\n"
        "Unknown host qfs2\nno route to host\nunknown host 'ab'\n"
        "/dev/sdb: read failed\n"
        "leaked (/srv/my files/xylem9)\n/home/gerda/my wagons: failed\n");
    std::string const& errors = recording.tools[0].errors;
    expectNoneIn(errors,
        {"payroll", "/q3", "customers", "qfs1", "quux", "qfs2", "'ab'", "files", "xylem9", "gerda",
            "wagons"});
    EXPECT_THAT(errors,
        MatchesRegex("cannot open /mnt/[a-z]{7}/[a-z][0-9]: No such file, see /etc/lvm/lvm.conf\n"
                     "/[a-z]{9}: Permission denied\n"
                     "[a-z]{3}[0-9].[a-z]{4}.net: Name or service not known .libfoo.so.1.\n"
                     "Unknown host [a-z]{3}[0-9]\nno route to host\nunknown host '[a-z]{2}'\n"
                     "/dev/sdb: read failed\n"
                     "leaked ./srv/[a-z]{2} [a-z]{5}/[a-z]{5}[0-9].\n"
                     "/home/[a-z]{5}/[a-z]{2} [a-z]{6}: failed\n"));
}

TEST(RedactionOfTexts, replacesQuotedLabels)
{
    expectNoneIn(
        redactedText("/etc/fstab",
            "LABEL=\"spare disks\" / ext4 rw 0 0\nPARTLABEL=\"yearly data\" /mnt ext4 rw 0 0\n"
            "PARTUUID=\"1a2b3c4d-05\" /srv ext4 rw 0 0\n"),
        {"spare", "disks", "yearly", "1a2b3c4d"});
}

TEST(RedactionOfTexts, replacesTheValuesOfTheKernelsCommandLine)
{
    std::string const line = redactedText("/proc/cmdline",
        "BOOTIF=01-00-1b-21-a1-b2-c3 ifname=lan0:00:1b:21:d4:e5:f6 "
        "ip=10.1.2.3::10.1.2.254:255.255.255.0:qclient:eth0:none "
        "nfsroot=qnfs:/root,vers=3 netroot=iscsi:gerda:s3cr3tpw@10.1.2.9::3260:0:"
        "iqn.2005-10.net.quux:disk9 rd.iscsi.initiator=iqn.1994-05.net.quux:initxy "
        "rd.iscsi.username=berta rd.iscsi.password=pw47 "
        "iscsi_initiator=IQN.1993-08.net.quux:inityz "
        "root=UUID=0a1b2c3d-1111-4222-8333-444455556666 rd.lvm.vg=depot "
        "systemd.hostname=qhost systemd.machine_id=0123456789abcdef0123456789abcdef quiet\n");
    expectNoneIn(line,
        {"a1-b2-c3", "d4:e5:f6", "10.1.2.3", "10.1.2.254", "qclient", "qnfs", "gerda", "s3cr3tpw",
            "10.1.2.9", "quux", "disk9", "initxy", "berta", "pw47", "inityz", "0a1b2c3d", "depot",
            "qhost", "0123456789abcdef"});
    EXPECT_THAT(line,
        MatchesRegex("BOOTIF=01-00-1b-21-[-0-9a-f]{8} ifname=lan0:00:1b:21:[:0-9a-f]{8} "
                     "ip=10[0-9.]+::10[0-9.]+:255.255.255.0:[a-z]{7}:eth0:none .* quiet\n"));
    EXPECT_THAT(redactedText("/proc/cmdline", "root=ZFS=depot/ledgers ro\n"),
        MatchesRegex("root=ZFS=[a-z]{5}/[a-z]{7} ro\n"));
}

TEST(RedactionOfTexts, replacesNamesThatAreNoUtf8AlikeInTheDocument)
{
    app::Recording recording;
    std::string const name = "ok\xff\x7f\x1bz";
    recording.files = {file("/sys/devices/virtual/block/dm-0/dm/name", name + "\n"),
        link("/dev/mapper/" + name, "../dm-0")};
    recording.document =
        "{\"disks\": [{\"name\": \"dm-0\", \"label\": \"ok\xEF\xBF\xBD\\u007f\\u001bz\"}]}";
    app::redact(recording);
    std::string const other =
        contentOf(recording, "/sys/devices/virtual/block/dm-0/dm/name").substr(0, name.size());
    EXPECT_NE(other, name);
    EXPECT_EQ(contentOf(recording, "/dev/mapper/" + other), "../dm-0");
    auto const document = nlohmann::json::parse(recording.document);
    using Json = nlohmann::json;
    std::string const shown = Json(other).dump(-1, ' ', false, Json::error_handler_t::replace);
    EXPECT_EQ(document["disks"][0]["label"], Json::parse(shown));
}

TEST(RedactionOfTexts, replacesTheFirstBytesOfAnInfinibandAddress)
{
    std::string const address = "80:00:02:08:fe:80:00:00:00:00:00:00:f4:52:14:03:00:7b:cb:a1";
    app::Recording recording;
    recording.files = {file("/sys/class/net/ib0/address", address + "\n")};
    recording.tools = {tool({"ifconfig", "-a"},
        "ib0  Link encap:UNSPEC  HWaddr 80-00-02-08-FE-80-00-00-00-00-00-00-F4-52-14-03  \n")};
    recording.answers = {"adapter ib0 3 0x1043 80:00:02:08:fe:80:00:00"};
    app::redact(recording);
    EXPECT_EQ(recording.answers[0], "adapter ib0 3 0x1043 80:00:02:08:fe:80:00:00")
        << "of the device itself it has nothing";
    std::string const other = recording.files[0].content;
    EXPECT_THAT(other, MatchesRegex("80:00:02:08:fe:80(:00){6}:f4:52:14(:[0-9a-f]{2}){5}\n"));
    EXPECT_NE(other, address + "\n");
    EXPECT_THAT(
        lower(recording.tools[0].output), HasSubstr("f4-52-14-" + other.substr(45, 2) + " "));
}

TEST(RedactionOfTexts, replacesTheHardwareAddressesOfTunnels)
{
    app::Recording recording;
    recording.answers = {"adapter tun7 5 0xd1 0a:4d:2c:21"};
    recording.tools = {tool({"ifconfig", "-a"},
        "ip6tnl1: flags=209<UP>  mtu 1452\n        unspec "
        "2A-02-0A-B1-11-22-33-44-55-66-77-88-99-AA-BB-CC  txqueuelen 1000  (UNSPEC)\n")};
    app::redact(recording);
    expectNoneIn(allTexts(recording), {"0a:4d:2c", "2a-02-0a-b1", "33-44-55"});
    EXPECT_THAT(recording.answers[0], MatchesRegex("adapter tun7 5 0xd1 0a(:[0-9a-f]{2}){3}"));
}

TEST(RedactionOfTexts, replacesPasswordsAndGroupsInOptions)
{
    std::string const text = redactedText("/proc/self/mounts",
        "//10.1.2.3/x /mnt/x cifs rw,password=s3cr3tpw,gid=1234 0 0\n"
        "/dev/sdb /mnt/y gfs2 rw,locktable=qlust:qdata 0 0\n"
        "devpts /dev/pts devpts rw,gid=5,mode=620 0 0\n");
    expectNoneIn(text, {"s3cr3tpw", "=1234", "qlust", "qdata"});
    EXPECT_THAT(text, HasSubstr("rw,gid=5,mode=620"));
}

TEST(RedactionOfTexts, replacesHostsInTheResolversComments)
{
    std::string const text = redactedText(
        "/etc/resolv.conf", "# written by qadm.quux.net\nsearch quuxly lan\nnameserver 10.3.2.1\n");
    expectNoneIn(text, {"qadm", "quux", "10.3.2.1"});
    EXPECT_THAT(text, MatchesRegex("# written by .*\nsearch [a-z]{6} lan\nnameserver [0-9.]+\n"));
}

TEST(RedactionOfTexts, replacesFurtherIdentifiersOfUdev)
{
    std::string const text = redactedText("/run/udev/data/b8:3",
        "S:disk/by-path/ip-10.3.2.1:3260-iscsi-iqn.2001-05.com.quux:stor1-lun-0\n"
        "S:disk/by-path/pci-0000:03:00.0-sas-0x5000c500a0b1c2d3-lun-0\n"
        "S:disk/by-path/ip-10.3.2.2:4420-nvme-nqn.2014-08.com.quuxly:stor2\n"
        "S:disk/by-id/"
        "nvme-nvme.144d-53354839-53414d-00000001\nE:ID_SERIAL=QX47\nE:PARTNAME=ledgers\nE:MD_NAME="
        "qhost:depot\nE:MD_DEVNAME=depot\n"
        "E:ID_FS_PUBLISHER_ID=GERDA\nE:ID_WWN_VENDOR_EXTENSION=0x1a2b3c4d5e6f7081\n");
    expectNoneIn(text,
        {"10.3.2", "quux", "stor1", "stor2", "5000c500a0b1c2d3", "QX47", "ledgers", "qhost",
            "depot", "gerda", "1a2b3c4d5e6f7081", "53354839"});
    EXPECT_THAT(text, HasSubstr("S:disk/by-path/pci-0000:03:00.0-sas-0x5"));
}

TEST(RedactionOfTexts, replacesIpv6AddressesThatEndInIpv4)
{
    std::string const text = redactedText("/etc/resolv.conf",
        "nameserver 2001:470:1f0b:abc:0:0:192.168.17.3\nnameserver ::ffff:192.168.17.4\n"
        "nameserver 192.168.17.4\n");
    expectNoneIn(text, {"470:1f0b", "1f0b:abc", "192.168.17.3"});
    EXPECT_THAT(text,
        MatchesRegex("nameserver [0-9a-f]+:[0-9a-f]+:[0-9a-f]+:[0-9a-f]+:0:0:[0-9.]+\n"
                     "nameserver ::ffff:192.168[0-9.]+\nnameserver 192.168[0-9.]+\n"));
}

TEST(RedactionOfTexts, replacesTheUserWhoRecorded)
{
    app::Recording recording;
    recording.user = 1107;
    recording.files = {
        file("/proc/self/mounts", "tmpfs /run/user/1107 tmpfs rw,uid=1107,gid=1107 0 0\n")};
    app::redact(recording);
    EXPECT_NE(recording.user, 1107U);
    EXPECT_THAT(recording.files[0].content, Not(HasSubstr("1107")));
    recording.user = 0;
    app::redact(recording);
    EXPECT_EQ(recording.user, 0U) << "root stays";
}

TEST(RedactionOfTexts, replacesPartsOfValuesLikeTheParts)
{
    std::string const text = redactedText("/run/udev/data/b8:3",
        "S:disk/by-id/"
        "md-name-qhost:data7\nE:ID_FS_LABEL=my_disk\nE:ID_FS_LABEL_ENC=my\\x20disk\nE:ID_PART_"
        "TABLE_UUID=8d1e2f30\n"
        "E:ID_PART_ENTRY_UUID=8d1e2f30-01\nE:MD_NAME=qhost:data7\nE:ID_FS_LABEL=qhost:data7\n"
        "E:ID_SERIAL_SHORT=7XK4M2Z\nE:ID_SCSI_SERIAL=.7XK4M2Z.CN0087.\n");
    auto const behind = [&](std::string const& key) {
        size_t const begin = text.find(key + "=") + key.size() + 1;
        return text.substr(begin, text.find('\n', begin) - begin);
    };
    std::string encoded = behind("ID_FS_LABEL_ENC");
    encoded.replace(encoded.find("\\x20"), 4, "_");
    EXPECT_EQ(behind("ID_FS_LABEL"), encoded);
    EXPECT_EQ(behind("ID_PART_ENTRY_UUID"), behind("ID_PART_TABLE_UUID") + "-01");
    EXPECT_THAT(text, HasSubstr("E:ID_FS_LABEL=" + behind("MD_NAME") + "\n"));
    EXPECT_THAT(text, HasSubstr("/md-name-" + behind("MD_NAME") + "\n"));
    EXPECT_THAT(
        behind("ID_SCSI_SERIAL"), testing::StartsWith("." + behind("ID_SERIAL_SHORT") + "."));
    expectNoneIn(text, {"my_disk", "8d1e2f30", "qhost", "data7", "7XK4M2Z", "CN0087"});
}
