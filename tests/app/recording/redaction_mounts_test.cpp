// Names and addresses in the tables of mounted filesystems.

#include "app/recording/redaction/redaction.h"
#include "tests/app/recording/RandomMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app_recording_test::allTexts;
using app_recording_test::contentOf;
using app_recording_test::file;
using app_recording_test::lower;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

app::Recording redactedMounts(std::string const& mounts,
    std::vector<std::string> const& answers = {}, std::string const& document = "{}")
{
    app::Recording recording;
    recording.files = {file("/proc/self/mounts", mounts)};
    recording.answers = answers;
    recording.document = document;
    app::redact(recording);
    return recording;
}

void expectNone(app::Recording const& recording, std::vector<std::string> const& names)
{
    std::string const texts = allTexts(recording);
    for (std::string const& name : names)
        EXPECT_THAT(texts, Not(HasSubstr(lower(name))));
}

}

TEST(RedactionOfMounts, replacesTheMonitorsOfCeph)
{
    std::string const mounts = contentOf(
        redactedMounts(
            "10.1.2.3:6789,qmon1:6789,[fd00:1::77]:6789,qmon2.quux.net:6789:/x /mnt/c ceph "
            "rw,name=clerk,secret=<hidden>,mon_addr=10.1.2.4:6789/qmon3:3300,fs=papers 0 0\n"),
        "/proc/self/mounts");
    for (char const* const name : {"10.1.2.3", "qmon1", "fd00:1::77", "qmon2", "quux", "10.1.2.4",
             "qmon3", "clerk", "papers"})
        EXPECT_THAT(mounts, Not(HasSubstr(name)));
    EXPECT_THAT(mounts,
        MatchesRegex("10[0-9.]+:6789,[a-z]{4}[0-9]:6789,.fd[0-9a-f:]+.:6789,[a-z]{4}[0-9].[a-z]{4}"
                     ".net:6789:/x /mnt/c ceph rw,name=[a-z]{5},secret=<hidden>,"
                     "mon_addr=10[0-9.]+:6789/[a-z]{4}[0-9]:3300,fs=[a-z]{6} 0 0\n"));
}

TEST(RedactionOfMounts, keepsTheKeyOfAnOptionThatBeginsWithAHost)
{
    auto const recording =
        redactedMounts("mon.quux.net:6789:/ /mnt/c ceph rw,mon_addr=10.1.2.4:6789 0 0\n");
    expectNone(recording, {"mon.quux"});
    EXPECT_THAT(contentOf(recording, "/proc/self/mounts"), HasSubstr("ceph rw,mon_addr=10."));
}

TEST(RedactionOfMounts, replacesTheUserAndTheNameOfACephFilesystem)
{
    auto const recording = redactedMounts(
        "clerk@0a1b2c3d-1111-4222-8333-444455556666.papers=/x /mnt/c ceph rw,name=clerk 0 0\n"
        "admin@.data=/ /mnt/d ceph rw 0 0\n");
    expectNone(recording, {"clerk", "papers", "0a1b2c3d", "admin@", ".data="});
    EXPECT_THAT(contentOf(recording, "/proc/self/mounts"), HasSubstr("=/x /mnt/c ceph rw,name="));
}

TEST(RedactionOfMounts, replacesThePoolsOfZfsEverywhere)
{
    auto const recording =
        redactedMounts("depot/ledgers@monday /depot/ledgers zfs rw,xattr,noacl 0 0\n",
            {"statvfs /depot/ledgers 4096 4096 1 1 1 1 1"}, R"({"mounts": [{"source": "depot"}]})");
    expectNone(recording, {"depot", "ledgers", "monday"});
    std::string const mounts = contentOf(recording, "/proc/self/mounts");
    std::string const names = mounts.substr(0, mounts.find('@'));
    EXPECT_THAT(mounts, HasSubstr(" /" + names + " zfs rw,xattr,noacl 0 0\n"));
    EXPECT_THAT(recording.answers[0], HasSubstr("statvfs /" + names + " 4096"));
    EXPECT_THAT(
        recording.document, HasSubstr("\"source\": \"" + names.substr(0, names.find('/')) + "\""));
}

TEST(RedactionOfMounts, replacesTheFoldersOfAUser)
{
    auto const recording = redactedMounts(
        "/dev/sda1 /home/gerda/Taxation\\040202544/data ext4 rw 0 0\n"
        "/dev/sda2 /root/payroll ext4 rw 0 0\n/dev/sda3 /Users/gerda/work ext4 rw 0 0\n"
        "/dev/sda4 /media/gerda/STICK/letters ext4 rw 0 0\n"
        "overlay /mnt/o overlay rw,lowerdir=/home/gerda/low:/home/gerda/bin,upperdir=/root/up 0 "
        "0\n",
        {"statvfs \"/home/gerda/Taxation 202544/data\" 4096 4096 1 1 1 1 1"},
        R"({"mounts": [{"mount_point": "/home/gerda/Taxation 202544/data"}]})");
    expectNone(recording,
        {"gerda", "taxation", "202544", "/data ", "payroll", "stick", "letters", "/low:", "/bin,",
            "/up "});
    std::string const mounts = contentOf(recording, "/proc/self/mounts");
    EXPECT_THAT(mounts,
        MatchesRegex("/dev/sda1 /home/[a-z]{5}/[A-Z][a-z]{7}.040[0-9]{6}/[a-z]{4} ext4 rw 0 0\n"
                     "/dev/sda2 /root/[a-z]{7} ext4 (.|\n)*"));
    std::string point = mounts.substr(10, mounts.find(" ext4") - 10);
    point.replace(point.find("\\040"), 4, " ");
    EXPECT_THAT(recording.answers[0], HasSubstr("\"" + point + "\""));
    EXPECT_THAT(recording.document, HasSubstr("\"" + point + "\""));
}

TEST(RedactionOfMounts, readsTheTableOfMountinfoToo)
{
    app::Recording recording;
    recording.files = {file("/proc/self/mountinfo",
        "30 29 0:52 /@home/gerda/workbench /mnt/w rw,relatime shared:1 master:2 - btrfs /dev/sda1 "
        "rw\n"
        "31 29 0:53 / /mnt/z rw,relatime - zfs depot/ledgers rw,xattr\n")};
    app::redact(recording);
    expectNone(recording, {"gerda", "/workbench", "depot", "ledgers"});
}

TEST(RedactionOfMounts, replacesTheServersOfEachKindOfFilesystem)
{
    auto const recording =
        redactedMounts("qnasstore1,qnasstore2:/x /mnt/a nfs4 rw,addr=10.9.8.7 0 0\n"
                       "gerda@qsshstore:docs /mnt/b fuse.sshfs rw,user_id=1000,group_id=1000 0 0\n"
                       "qmdstore1@tcp:qmdstore2@tcp1:/papers /mnt/c lustre rw 0 0\n"
                       "qglustore:/ledgers /mnt/d fuse.glusterfs "
                       "rw,backup-volfile-servers=qglustore2:qglustore3 0 0\n"
                       "https://gerda@qdavstore.quuxstore.net/x /mnt/e fuse rw 0 0\n"
                       "//server/x /mnt/f cifs rw,unc=\\134\\134server\\134x 0 0\n"
                       "depotshare /mnt/g 9p rw,trans=virtio 0 0\n"
                       "ldap:ou=auto.misc,dc=quuxlystore,dc=net /misc autofs rw,fd=6,gid=5 0 0\n"
                       "cgroup /sys/fs/cgroup/systemd cgroup rw,name=systemd 0 0\n");
    expectNone(recording,
        {"qnasstore1", "qnasstore2", "gerda", "qsshstore", "=1000", "qmdstore1", "qmdstore2",
            "papers", "qglustore", "ledgers", "qglustore2", "qglustore3", "qdavstore", "quuxstore",
            "//server", "134server", "depotshare", "quuxlystore"});
    EXPECT_THAT(contentOf(recording, "/proc/self/mounts"),
        testing::AllOf(HasSubstr(" cgroup rw,name=systemd 0 0\n"), HasSubstr("@tcp:"),
            HasSubstr("@tcp1:/"), HasSubstr(" autofs rw,fd=6,gid=5 0 0\n")));
}

TEST(RedactionOfMounts, keepsTheWordsOfTheTable)
{
    std::string const mounts =
        "/dev/sda1 / xfs rw,noatime,nodiratime 0 0\nfusectl /sys/fs/fuse fusectl rw 0 0\n";
    EXPECT_EQ(
        contentOf(redactedMounts(mounts + "/dev/sdb1 /home/gerda/fusectl/nodiratime ext4 rw 0 0\n"),
            "/proc/self/mounts")
            .substr(0, mounts.size()),
        mounts);
}

TEST(RedactionOfMounts, replacesTheIdentifiersOfContainers)
{
    std::string const id = "3f2a9c41d07b5e68f1029384756afbcdee00112233445566778899aabbccdd01";
    auto const recording = redactedMounts("overlay /var/lib/docker/overlay2/" + id
        + "/merged overlay rw,lowerdir=/var/lib/docker/overlay2/l/ABCDEFGHIJKLMNOPQRSTUVWX26:"
          "/var/lib/docker/overlay2/"
        + id
        + "-init/diff 0 0\n"
          "tmpfs /var/lib/kubelet/pods/5d41402a-bc4b-4a76-b971-9d911017c592/volumes tmpfs rw 0 0\n"
          "cgroup /sys/fs/cgroup/kubepods-pod5d41402a_bc4b_4a76_b971_9d911017c592.slice cgroup rw "
          "0 0\n"
          "/dev/sda1 /var/log/journal/0123456789abcdef0123456789abcdef ext4 rw 0 0\n");
    expectNone(recording,
        {id, id.substr(0, 12), "ABCDEFGHIJKLM", "5d41402a", "0123456789abcdef0123456789abcdef"});
    EXPECT_THAT(contentOf(recording, "/proc/self/mounts"), HasSubstr("-init/diff 0 0\n"));
}
