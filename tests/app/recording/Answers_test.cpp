#include "app/recording/Answers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <net/if.h>
#include <stdexcept>

using app::addAnswer;
using app::Answers;

namespace {

Answers answersOf(std::vector<std::string> const& lines)
{
    Answers answers;
    for (std::string const& line : lines)
        addAnswer(line, answers);
    return answers;
}

}

TEST(Answers, haveTheFiguresOfAFilesystem)
{
    Answers const answers = answersOf(
        {"statvfs \"/my disk\" 4096 512 3 2 1 5 4", "statvfs /gone EIO", "statvfs /nfs hang"});
    using Figures = std::vector<uint64_t>;
    EXPECT_EQ(answers.filesystems.at("/my disk").figures, (Figures{4096, 512, 3, 2, 1, 5, 4}));
    EXPECT_EQ(answers.filesystems.at("/gone").error, EIO);
    EXPECT_TRUE(answers.filesystems.at("/nfs").hangs);
}

TEST(Answers, haveTheSectorSizeAndTheBusOfADisk)
{
    Answers const answers = answersOf(
        {"sector /dev/sda 512 bus 3", "sector /dev/sdb ENOTTY bus 4", "sector /dev/sdc ENOMEDIUM"});
    EXPECT_EQ(answers.sectors.at("/dev/sda").size, 512);
    EXPECT_EQ(answers.sectors.at("/dev/sda").bus, 3);
    EXPECT_EQ(answers.sectors.at("/dev/sdb").error, ENOTTY);
    EXPECT_EQ(answers.sectors.at("/dev/sdb").bus, 4);
    EXPECT_EQ(answers.sectors.at("/dev/sdc").bus, std::nullopt);
}

TEST(Answers, haveFlagsOfAdaptersByNameOrNumber)
{
    Answers const answers = answersOf({"adapter eth0 2 up,multicast 00:0d:3a:00:00:01",
        "adapter tun0 3 0x11043", "address eth0 192.0.2.7/24 broadcast 192.0.2.255"});
    ASSERT_EQ(answers.adapters.size(), 2U);
    EXPECT_EQ(answers.adapters[0].second.flags, unsigned{IFF_UP | IFF_MULTICAST});
    EXPECT_EQ(answers.adapters[0].second.mac.size(), 6U);
    EXPECT_EQ(answers.adapters[1].second.flags, 0x11043U);
    EXPECT_EQ(answers.addresses.at(0).other, "192.0.2.255");
}

TEST(Answers, haveTheErrorsOfEachCallOnAPath)
{
    Answers const answers = answersOf({"refuses open /a EACCES", "refuses read /a EINVAL",
        "refuses list /b EIO", "adapters EMFILE"});
    EXPECT_EQ(answers.refusals.at("/a").open, EACCES);
    EXPECT_EQ(answers.refusals.at("/a").read, EINVAL);
    EXPECT_EQ(answers.refusals.at("/b").list, EIO);
    EXPECT_EQ(answers.adaptersError, EMFILE);
}

TEST(Answers, haveTheMessagesOfANetlinkRequestInTheirOrder)
{
    Answers const answers = answersOf({"netlink 26 0 00ff", "netlink 26 0 41", "netlink 22 2"});
    EXPECT_EQ(answers.routes.at({26, 0}).messages,
        (std::vector<std::string>{std::string("\0\xFF", 2), "A"}));
    EXPECT_TRUE(answers.routes.at({22, 2}).messages.empty());
}

TEST(Answers, haveTheRuleOfATimeZone)
{
    for (std::string const rule : {"EST5", "EST+5EDT", "<-03>3", "JST-9", "LMT-1:02:03",
             "EST5EDT4:30,M3.2.0/2,M11.1.0", "AAA3BBB,J60/-3:30,300"})
        EXPECT_EQ(answersOf({"zone " + rule}).timeZone, rule);
}

TEST(Answers, areRefusedWhereALineIsWrong)
{
    std::string const longRule = "zone " + std::string(200, 'A') + "5";
    for (char const* const line :
        {longRule.c_str(), "zone", "zone /etc/passwd", "zone :EST5", "zone EST", "zone ../EST5",
            "zone 5", "zone EST5,M3.2.0", "zone \"EST5 \"", "zone EST5/../x", "", "reboot",
            "uname 6.8", "uname 6.8 x86_64 more", "statvfs / 1 2 3", "sector /dev/sda x",
            "statvfs / 99999999999999999999999 1 1 1 1 1 1", "adapter eth0 2 sideways",
            "address eth0 192.0.2.7/33", "address eth0 2001:db8::7/129", "hostname \"open",
            "netlink 26 0 zz", "netlink 26 0 123"}) {
        Answers answers;
        EXPECT_THROW(addAnswer(line, answers), std::runtime_error) << line;
    }
}
