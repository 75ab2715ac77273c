#include "app/recording/redaction/redaction.h"
#include "tests/app/recording/RandomMachine.h"
#include "tests/support/Json.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using app_recording_test::allTexts;
using app_recording_test::contentOf;
using app_recording_test::dashedLvm;
using app_recording_test::eui64;
using app_recording_test::hexText;
using app_recording_test::ipBytes;
using app_recording_test::lower;
using app_recording_test::outputOf;
using app_recording_test::RandomMachine;
using app_recording_test::upper;
using app_recording_test::without;

namespace {

using testkit::Json;

/** The redacted machine with fast ways to its parts. */
struct RedactedMachine {
    RandomMachine machine;
    app::Recording recording = machine.recording;
    std::string mounts;
    std::string firmware;
    std::string commandLine;
    std::string links; ///< all paths
    Json document;

    RedactedMachine()
    {
        app::redact(recording);
        mounts = contentOf(recording, "/proc/self/mounts");
        firmware = outputOf(recording, "dmidecode");
        commandLine = contentOf(recording, "/proc/cmdline");
        for (app::RecordedFile const& one : recording.files)
            links += one.path + "\n";
        document = Json::parse(recording.document);
    }

    /** @return the word behind a mark. */
    static std::string behind(std::string const& text, std::string const& mark)
    {
        size_t const place = text.find(mark);
        if (place == std::string::npos)
            return "no " + mark;
        size_t const begin = place + mark.size();
        return text.substr(begin, text.find_first_of(" \t\n/\",:\\", begin) - begin);
    }

    std::string line(std::string const& path) const
    {
        std::string const content = contentOf(recording, path);
        return content.substr(0, content.find_first_of(" \n"));
    }
};

RedactedMachine const& one()
{
    static RedactedMachine const machine;
    return machine;
}

std::string count(size_t i)
{
    return std::to_string(i);
}

testing::AssertionResult has(std::string const& text, std::string const& part)
{
    return text.find(part) != std::string::npos
        ? testing::AssertionSuccess()
        : testing::AssertionFailure() << part << " is missing";
}

void expectSameClasses(std::string const& old, std::string const& other)
{
    ASSERT_EQ(old.size(), other.size()) << old << " " << other;
    EXPECT_NE(old, other);
    for (size_t i = 0; i < old.size(); ++i) {
        auto const of = [i](std::string const& text, auto is) {
            return is(static_cast<unsigned char>(text[i])) != 0;
        };
        EXPECT_EQ(of(old, isdigit), of(other, isdigit)) << old << " " << other;
        EXPECT_EQ(of(old, isupper), of(other, isupper)) << old << " " << other;
        EXPECT_EQ(of(old, islower), of(other, islower)) << old << " " << other;
    }
}

}

TEST(RedactionEquality, aSerialNumberIsTheSameInAllFiles)
{
    for (size_t i = 0; i < RandomMachine::COUNT; ++i) {
        std::string const serial =
            one().line("/sys/devices/pci0000:00/nvme/nvme" + count(i) + "/serial");
        expectSameClasses(one().machine.serials[i], serial);
        EXPECT_TRUE(has(one().links, "/ata-ACME_DISK_" + serial + "\n"));
        EXPECT_TRUE(has(one().links, "/nvme-ACME_DISK_" + serial + "_1\n"));
        EXPECT_TRUE(has(one().links, "/usb-ACME_DISK_" + serial + "-0:0-part1\n"));
        EXPECT_TRUE(has(one().firmware, "Serial Number: " + serial + "\n"));
        EXPECT_TRUE(has(one().firmware, "Asset Tag: " + lower(serial) + "\n"));
        EXPECT_EQ(one().document["disks"][i]["serial"], serial);
        EXPECT_EQ(one().document["disks"][i]["caption"], "ACME_DISK_" + serial);
        std::string const wwid = contentOf(
            one().recording, "/sys/devices/pci0000:00/nvme/nvme" + count(i) + "/disk/wwid");
        std::string const spellings[] = {"naa.", " " + serial + "\n", "-" + hexText(serial) + "-"};
        EXPECT_TRUE(has(wwid, spellings[i % 3]));
    }
}

TEST(RedactionEquality, aUuidIsTheSameInAllFiles)
{
    for (size_t i = 0; i < RandomMachine::COUNT; ++i) {
        std::string const uuid =
            one().line("/sys/devices/virtual/block/md" + count(i) + "/md/uuid");
        EXPECT_EQ(uuid.size(), one().machine.uuids[i].size());
        EXPECT_TRUE(has(one().links, "/by-uuid/" + uuid + "\n"));
        EXPECT_TRUE(has(one().links, "/by-partuuid/" + upper(uuid) + "\n"));
        EXPECT_TRUE(has(one().firmware, "UUID: " + uuid + "\n"));
        EXPECT_TRUE(has(one().commandLine, "root=UUID=" + uuid + " "));
        std::string const mapped =
            contentOf(one().recording, "/sys/devices/virtual/block/dm-" + count(i) + "/dm/uuid");
        EXPECT_TRUE(has(mapped, i % 2 == 0 ? "LVM-" : "CRYPT-LUKS2-" + without("-", uuid) + "-"));
    }
    std::string const first = one().line("/sys/devices/virtual/block/md0/md/uuid");
    EXPECT_EQ(one().line("/etc/machine-id"), without("-", first));
}

TEST(RedactionEquality, anIdentifierOfLvmIsTheSameInAllFiles)
{
    std::string const volumes = outputOf(one().recording, "pvdisplay");
    for (size_t i = 0; i < RandomMachine::COUNT; i += 2) {
        std::string const both =
            one().line("/sys/devices/virtual/block/dm-" + count(i) + "/dm/uuid");
        ASSERT_EQ(both.size(), 68U) << both;
        std::string const id = both.substr(4, 32);
        expectSameClasses(one().machine.lvmIds[i], id);
        EXPECT_TRUE(has(one().links, "/dm-uuid-LVM-" + id));
        EXPECT_TRUE(has(one().links, "/lvm-pv-uuid-" + dashedLvm(id) + "\n"));
        EXPECT_TRUE(has(volumes, ":" + dashedLvm(id) + "\n"));
    }
}

TEST(RedactionEquality, aMacAddressIsTheSameInAllFiles)
{
    std::string const inet6 = contentOf(one().recording, "/proc/net/if_inet6");
    std::string const texts = allTexts(one().recording);
    for (size_t i = 0; i < RandomMachine::COUNT; ++i) {
        std::string const folder = "/sys/devices/pci0000:00/net/eth" + count(i);
        std::string const mac = one().line(folder + "/address");
        EXPECT_EQ(mac.substr(0, 8), one().machine.macs[i].substr(0, 8)) << "the maker's part stays";
        EXPECT_EQ(one().line(folder + "/bridge/bridge_id"), "8000." + without(":", mac));
        EXPECT_TRUE(has(outputOf(one().recording, "ifconfig"), "ether " + mac + "  "));
        EXPECT_TRUE(has(outputOf(one().recording, "ifconfig-old"), "HWaddr " + upper(mac) + "  "));
        EXPECT_TRUE(has(inet6, eui64(mac) + " 02 40 20 80     eth" + count(i) + "\n"));
        EXPECT_EQ(one().document["networks"]["adapters"][i]["mac"], mac);
        EXPECT_TRUE(has(texts, "adapter eth" + count(i) + " " + count(i) + " up,broadcast " + mac));
    }
}

TEST(RedactionEquality, anIpAddressIsTheSameInAllFiles)
{
    std::string const routes = contentOf(one().recording, "/proc/net/route");
    std::string const inet6 = contentOf(one().recording, "/proc/net/if_inet6");
    std::string const resolver = contentOf(one().recording, "/etc/resolv.conf");
    std::string const texts = allTexts(one().recording);
    for (size_t i = 0; i < RandomMachine::COUNT; ++i) {
        auto const& addresses = one().document["networks"]["adapters"][i]["addresses"];
        std::string const ipv4 = addresses[0]["address"];
        std::string const ipv6 = addresses[1]["address"];
        EXPECT_NE(ipv4, one().machine.ipv4[i]);
        std::string turned = ipBytes(ipv4);
        std::reverse(turned.begin(), turned.end());
        EXPECT_TRUE(has(routes, "eth" + count(i) + "\t" + upper(hexText(turned)) + "\t00000000\t"));
        EXPECT_TRUE(has(routes, "eth" + count(i) + "\t00000000\t" + upper(hexText(turned)) + "\t"));
        EXPECT_TRUE(has(outputOf(one().recording, "ifconfig"), "inet " + ipv4 + "  netmask"));
        EXPECT_TRUE(has(outputOf(one().recording, "ifconfig-old"), "inet addr:" + ipv4 + "  "));
        EXPECT_TRUE(has(outputOf(one().recording, "ifconfig-bsd"), "inet " + ipv4 + " netmask"));
        EXPECT_TRUE(has(outputOf(one().recording, "ifconfig-old"), "inet6 addr: " + ipv6 + "/64"));
        EXPECT_TRUE(has(one().mounts, " rw,addr=" + ipv4 + " 0 0\n"));
        EXPECT_TRUE(has(resolver, "nameserver " + ipv4 + "\nnameserver " + ipv6 + "\n"));
        EXPECT_TRUE(has(inet6, hexText(ipBytes(ipv6)) + " 02 40 00 80     eth" + count(i) + "\n"));
        EXPECT_TRUE(has(texts, hexText("\x08") + "000100" + hexText(ipBytes(ipv4))))
            << "the destination of the netlink message";
    }
}

TEST(RedactionEquality, namesAreTheSameInAllFiles)
{
    std::string const info = contentOf(one().recording, "/proc/self/mountinfo");
    std::string const texts = allTexts(one().recording);
    for (size_t i = 0; i < RandomMachine::COUNT; ++i) {
        std::string const mark = "30 29 8:" + count(i) + " / /media/";
        std::string const user = RedactedMachine::behind(info, mark);
        expectSameClasses(one().machine.users[i], user);
        EXPECT_TRUE(has(one().mounts, "username=" + user + " "));
        EXPECT_TRUE(has(one().mounts, "/home/" + user + "/"));
        EXPECT_EQ(one().document["disks"][i]["mount_point"], "/home/" + user);

        std::string const disk = RedactedMachine::behind(info, mark + user + "/") + "\\040"
            + RedactedMachine::behind(info,
                mark + user + "/" + RedactedMachine::behind(info, mark + user + "/") + "\\040");
        EXPECT_TRUE(has(one().mounts, "/media/" + user + "/" + disk + " "));
        EXPECT_TRUE(has(one().links, "/by-label/" + disk.substr(0, disk.find('\\')) + "\\x20"));

        std::string const both = one().document["disks"][i]["label"];
        std::string const label = both.substr(0, both.find('-'));
        expectSameClasses(one().machine.labels[i], label);
        EXPECT_TRUE(has(one().commandLine, "rd.lvm.lv=" + label + "/root "));
        EXPECT_TRUE(has(outputOf(one().recording, "pvdisplay"), ":" + label + ":1:-1:"));
        EXPECT_TRUE(has(texts, lower("statvfs \"/media/" + user + "/" + label + "\" ")));
        std::string const name =
            one().line("/sys/devices/virtual/block/dm-" + count(i) + "/dm/name");
        EXPECT_TRUE(has(one().links, "/dev/mapper/" + name + "\n"));
    }
    std::string const host = one().line("/etc/hostname");
    expectSameClasses(one().machine.hosts[0], host);
    EXPECT_EQ(one().document["networks"]["host_name"], host);
    EXPECT_TRUE(has(texts, "hostname " + host + "\n"));
    EXPECT_TRUE(has(one().mounts, "//" + host + "/share "));
    EXPECT_EQ(one().mounts.substr(0, host.size() + 1), host + ".")
        << "the first part of the full name";
}

TEST(RedactionEquality, aWwnIsTheSameInAllFiles)
{
    for (size_t i = 0; i < RandomMachine::COUNT; i += 3) {
        std::string const wwid =
            one().line("/sys/devices/pci0000:00/nvme/nvme" + count(i) + "/disk/wwid");
        ASSERT_EQ(wwid.substr(0, 5), "naa.5") << "the type of the name stays";
        std::string const wwn = wwid.substr(4);
        EXPECT_NE(wwn, one().machine.wwns[i]);
        for (char const* const name : {"/wwn-0x", "/scsi-3", "/dm-uuid-mpath-3", "/nvme-eui."})
            EXPECT_TRUE(has(one().links, name + wwn)) << name;
        EXPECT_EQ(RedactedMachine::behind(
                      contentOf(one().recording, "/run/udev/data/b8:" + count(i)), "ID_WWN=0x"),
            wwn);
    }
}
