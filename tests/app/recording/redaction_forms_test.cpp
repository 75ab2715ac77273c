// Forms of names and numbers that few machines have.

#include "app/recording/redaction/redaction.h"
#include "tests/app/recording/RandomMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app_recording_test::contentOf;
using app_recording_test::file;
using app_recording_test::lower;
using app_recording_test::redactedText;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

/** Expects each line of the content to match the expression at its place. */
void expectLines(std::string const& content, std::vector<std::string> const& expressions)
{
    std::istringstream lines(content);
    for (std::string const& expression : expressions) {
        std::string line;
        std::getline(lines, line);
        EXPECT_THAT(line, MatchesRegex(expression));
    }
}

void expectGone(std::string const& text, std::vector<std::string> const& values)
{
    for (std::string const& value : values)
        EXPECT_THAT(lower(text), Not(HasSubstr(lower(value))));
}

}

TEST(RedactionOfForms, replacesTheNamesInTheTableOfHosts)
{
    std::string const text = redactedText(
        "/etc/hosts", "127.0.0.1 localhost\n10.3.2.1 qhost.quuxly.net qalias # rack 7\n");
    expectGone(text, {"10.3.2.1", "qhost", "quuxly", "qalias"});
    expectLines(
        text, {"127.0.0.1 localhost", "10[0-9.]+ +[a-z]{5}.[a-z]{6}.net [a-z]{6} # rack 7"});
}

TEST(RedactionOfForms, keepsTheWordsOfBootOptions)
{
    for (char const* const options :
        {"ip=dhcp quiet\n", "ip=eth0:dhcp root=/dev/sda1\n", "root=LABEL= BOOTIF=01\n"})
        EXPECT_EQ(redactedText("/proc/cmdline", options), options);
}

TEST(RedactionOfForms, replacesIpv6AddressesInBootOptions)
{
    std::string const text = redactedText("/proc/cmdline",
        "ip=[fd12:34::7]::[fd12:34::1]:64:qclient:eth0:none nfsroot=[fd12:34::9]:/root\n");
    expectGone(text, {"fd12:34:", "qclient"});
    expectLines(text,
        {"ip=.fd[0-9a-f:]+.::.fd[0-9a-f:]+.:64:[a-z]{7}:eth0:none nfsroot=.fd[0-9a-f:]+.:/root"});
}

TEST(RedactionOfForms, replacesTheNamesOfMappedDevices)
{
    std::string const text = redactedText("/run/udev/data/b253:0",
        "E:DM_NAME=qdepot-qledgers\nE:DM_VG_NAME=qdepot\nE:DM_LV_NAME=qledgers\n"
        "S:disk/by-id/dm-name-qdepot-qledgers\n"
        "S:disk/by-id/dm-uuid-CRYPT-LUKS2-0a1b2c3d4e5f60718293a4b5c6d7e8f9-qsafe\n"
        "S:disk/by-id/dm-uuid-CRYPT-PLAIN-qvault\n"
        "S:disk/by-id/dm-uuid-mpath-QARRAY7700\nS:disk/by-id/dm-name-mpatha\n"
        "S:disk/by-id/dm-name-35000c500a0b1c2d3\n");
    expectGone(text,
        {"qdepot", "qledgers", "0a1b2c3d", "qsafe", "qvault", "qarray7700", "5000c500a0b1c2d3"});
    EXPECT_THAT(text, HasSubstr("S:disk/by-id/dm-name-mpatha\n"));
    expectLines(text, {"E:DM_NAME=[a-z]{6}-[a-z]{8}"});
}

TEST(RedactionOfForms, replacesWorldWideNamesOfEachForm)
{
    for (auto const& [path, name] :
        {std::pair{"/sys/class/scsi_device/0:0:0:0/device/wwid", "naa.5000c500a0b1c2d3\n"},
            std::pair{"/sys/class/scsi_device/0:0:0:0/device/wwid", "0x5000c500a0b1c2d3\n"},
            std::pair{"/sys/class/sas_device/end_device-0:0/sas_address", "0x5000c500a0b1c2d3\n"}})
        EXPECT_THAT(redactedText(path, name), Not(HasSubstr("5000c500a0b1c2d3"))) << name;
    std::string const ata = redactedText(
        "/sys/class/scsi_device/0:0:0:0/device/wwid", "t10.ATA     QDISK 4000    QS7XK4M2Z\n");
    EXPECT_THAT(ata,
        MatchesRegex("t10.ATA     QDISK 4000    [A-Z]{2}[0-9][A-Z]{2}[0-9][A-Z][0-9]"
                     "[A-Z]\n"));
    EXPECT_THAT(ata, Not(HasSubstr("QS7XK4M2Z")));
}

TEST(RedactionOfForms, keepsANameThatNobodySet)
{
    EXPECT_EQ(redactedText("/proc/sys/kernel/domainname", "(none)\n"), "(none)\n");
    EXPECT_EQ(redactedText("/sys/devices/virtual/dmi/id/product_serial", "-\n"), "-\n");
    app::Recording recording;
    recording.answers = {"hostname \"\""};
    app::redact(recording);
    EXPECT_EQ(recording.answers[0], "hostname \"\"");
}

/** Each character gets another one of as many bytes. */
TEST(RedactionOfForms, keepsTheBytesOfLabelsInOtherScripts)
{
    std::string const label = "\xE6\x97\xA5\xE8\xA8\x98\xF0\x9F\x92\xBE"; // Two and one characters.
    std::string const text = redactedText("/run/udev/data/b8:1", "E:ID_FS_LABEL=" + label + "\n");
    std::string const other = text.substr(14, text.size() - 15);
    EXPECT_EQ(other.size(), label.size());
    EXPECT_NE(other.substr(0, 3), label.substr(0, 3));
    EXPECT_NE(other.substr(6), label.substr(6));
    EXPECT_EQ(other[0], '\xE5');
    EXPECT_EQ(other[6], '\xF0');
}

TEST(RedactionOfForms, replacesTheKeysOfAnEncryptedHome)
{
    std::string const text = redactedText("/proc/self/mounts",
        "/home/.ecryptfs/gerda/.Private /home/gerda ecryptfs "
        "rw,ecryptfs_fnek_sig=0a1b2c3d4e5f6071,ecryptfs_sig=1a1b2c3d4e5f6072 0 0\n");
    expectGone(text, {"gerda", "0a1b2c3d4e5f6071", "1a1b2c3d4e5f6072"});
    EXPECT_THAT(text, HasSubstr(" ecryptfs rw,ecryptfs_fnek_sig="));
}

TEST(RedactionOfForms, replacesTheServersAndTagsOfOlderOptions)
{
    std::string const text = redactedText("/etc/mtab",
        "qsharetag /mnt/v virtiofs rw 0 0\n"
        "gerda@0123.qspace=/ /mnt/c fuse.ceph rw 0 0\n"
        "10.3.2.1:6789:/ /mnt/d ceph rw,mds_namespace=qplace 0 0\n"
        "qmaster:/qledgers /mnt/e fuse.glusterfs rw,backupvolfile-server=qbackup 0 0\n"
        "tmpfs /run/user/0 tmpfs rw,uid=0,user=$USER 0 0\n");
    expectGone(text,
        {"qsharetag", "gerda", "qspace", "10.3.2.1", "qplace", "qmaster", "qledgers", "qbackup"});
    EXPECT_THAT(text, testing::EndsWith("\ntmpfs /run/user/0 tmpfs rw,uid=0,user=$USER 0 0\n"));
}

TEST(RedactionOfForms, replacesTheIdentifiersOfABridge)
{
    for (char const* const file : {"br0/bridge/bridge_id", "br0/bridge/root_id",
             "eth0/brport/designated_bridge", "eth0/brport/designated_root"}) {
        std::string const text =
            redactedText(std::string("/sys/class/net/") + file, "8000.0211224d5e6f\n");
        EXPECT_THAT(text, MatchesRegex("8000.021122[0-9a-f]{6}\n")) << file;
        EXPECT_THAT(text, Not(HasSubstr("4d5e6f"))) << file;
    }
}

TEST(RedactionOfForms, replacesTheDomainOfTheResolver)
{
    std::string const text =
        redactedText("/etc/resolv.conf", "; written by qadmin.quuxly.net\ndomain qdomain\n");
    expectLines(text, {"; written by [a-z]{6}.[a-z]{6}.net", "domain [a-z]{7}"});
    expectGone(text, {"qadmin", "quuxly", "qdomain"});
}

TEST(RedactionOfForms, replacesAControlCharacterAlikeInTheDocument)
{
    app::Recording recording;
    recording.files = {file("/sys/devices/virtual/block/dm-0/dm/name", "qdepot\xC2\x85qledgers\n")};
    recording.document =
        "{\"disks\": [{\"name\": \"dm-0\", \"label\": \"qdepot\\u0085qledgers\"}]}";
    app::redact(recording);
    expectGone(recording.files[0].content + recording.document, {"qdepot", "qledgers"});
}

TEST(RedactionOfForms, keepsANumberOfManyDigits)
{
    constexpr char const* NUMBER = "total 12345678901234567890123456789012\n";
    EXPECT_EQ(redactedText("/proc/x", NUMBER), NUMBER);
}

TEST(RedactionOfForms, replacesTheLabelBelowMedia)
{
    std::string const text = redactedText("/proc/self/mounts",
        "/dev/sdb1 /media/QSTICK vfat rw 0 0\n/dev/sdc1 /media/ vfat rw 0 0\n");
    expectLines(text, {"/dev/sdb1 /media/[A-Z]{6} vfat rw 0 0", "/dev/sdc1 /media/ vfat rw 0 0"});
    expectGone(text, {"QSTICK"});
}

TEST(RedactionOfForms, keepsAVariableInPlaceOfAUser)
{
    constexpr char const* TABLE = "/dev/sda3 /home/$USER/data ext4 rw 0 0\n";
    EXPECT_EQ(redactedText("/etc/fstab", TABLE), TABLE);
}

TEST(RedactionOfForms, replacesTheFoldersOfAPathWithEmptyNames)
{
    std::string const text =
        redactedText("/proc/self/mounts", "/dev/sda3 /home/gerda//letters ext4 rw 0 0\n");
    expectLines(text, {"/dev/sda3 /home/[a-z]{5}//[a-z]{7} ext4 rw 0 0"});
    expectGone(text, {"gerda", "letters"});
}

TEST(RedactionOfForms, replacesTheAddressOfATunnelInItsFile)
{
    std::string const text = redactedText("/sys/class/net/tun7/address", "0a:4d:2c:21\n");
    EXPECT_THAT(text, MatchesRegex("0a(:[0-9a-f]{2}){3}\n"));
    EXPECT_NE(text, "0a:4d:2c:21\n");
}

TEST(RedactionOfForms, writesAddressesOfRoutesInLargeDigits)
{
    // 17.34.51.68 has no letters in this form; most others have some.
    constexpr char const* ROUTE = "eth0\t44332211\t00000000\t0001\t0\t0\t0\tFFFFFFFF\t0\t0\t0\n";
    for (int i = 0; i < 20; ++i)
        EXPECT_THAT(
            redactedText("/proc/net/route", ROUTE), MatchesRegex("eth0\t[0-9A-F]{8}\t[^a-z]*"));
}

TEST(RedactionOfForms, keepsLongerNumbersWithAnAddressInThem)
{
    std::string const text = redactedText(
        "/etc/resolv.conf", "nameserver 10.3.2.1\n# 4.10.3.2.1 10.3.2.1.5 x.10.3.2.1 10.3.2.1.\n");
    expectLines(text, {"nameserver 10[0-9.]+", "# 4.10.3.2.1 10.3.2.1.5 x.10[0-9.]+ +10[0-9.]+."});
    EXPECT_THAT(text, Not(HasSubstr("x.10.3.2.1 ")));
}

TEST(RedactionOfForms, replacesANameBehindAnEscapedBlank)
{
    std::string const text = redactedText("/proc/self/mounts",
        "/dev/disk/by-label/qdepot /a ext4 rw 0 0\nx /b fuse.x rw,share=my%20qdepot 0 0\n");
    expectGone(text, {"qdepot"});
    EXPECT_THAT(text, HasSubstr("rw,share=my%20"));
}

TEST(RedactionOfForms, replacesHostsAtTheEndOfASentence)
{
    app::Recording recording;
    recording.tools = {app_recording_test::tool({"pvdisplay"}, "")};
    recording.tools[0].errors =
        "cannot resolve host qfile1.quuxly.net\nno answer from qfile2.quuyly.org.\n";
    app::redact(recording);
    expectLines(recording.tools[0].errors,
        {"cannot resolve host [a-z]{5}[0-9].[a-z]{6}.net",
            "no answer from [a-z]{5}[0-9].[a-z]{6}.org."});
    expectGone(recording.tools[0].errors, {"qfile1", "quuxly", "qfile2", "quuyly"});
    std::string const search = redactedText("/etc/resolv.conf", "search corp.quuzly.net.\n");
    EXPECT_THAT(search, MatchesRegex("search [a-z]{4}.[a-z]{6}.net.\n"));
    expectGone(search, {"quuzly"});
}
