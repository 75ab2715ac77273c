#include "sysinfo/parsers/ifconfig_output.h"

#include "tests/sysinfo/PiecewiseBuffer.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

using sysinfo::AdapterText;
using sysinfo::readAdapters;

using namespace std::string_literals;

namespace {

using Strings = std::vector<std::string>;

struct Adapters {
    Strings found;
    std::vector<AdapterText> blocks; // Includes the last one.
};

Adapters adaptersIn(std::istream& output)
{
    Adapters adapters;
    AdapterText const last = readAdapters(
        output, [&](std::string const& name) { adapters.found.push_back(name); },
        [&](AdapterText const& text) { adapters.blocks.push_back(text); });
    adapters.blocks.push_back(last);
    return adapters;
}

Adapters adaptersIn(std::string const& output)
{
    std::istringstream stream(output);
    return adaptersIn(stream);
}

/** @return the block of an adapter with these lines. */
AdapterText blockOf(std::string const& lines)
{
    Adapters const adapters = adaptersIn("eth0: flags\n" + lines);
    EXPECT_EQ(adapters.blocks.size(), 1U);
    return adapters.blocks.back();
}

Strings namesOf(Adapters const& adapters)
{
    Strings names;
    for (AdapterText const& block : adapters.blocks)
        names.push_back(block.name);
    return names;
}

constexpr char OLD_STYLE[] = "eth0      Link encap:Ethernet  HWaddr 00:0C:29:AA:BB:CC  \n"
                             "          inet addr:10.0.0.5  Bcast:10.0.0.255  Mask:255.255.255.0\n"
                             "          inet6 addr: fe80::20c:29ff:feaa:bbcc/64 Scope:Link\n"
                             "          UP BROADCAST RUNNING MULTICAST  MTU:1500  Metric:1\n"
                             "\n"
                             "lo        Link encap:Local Loopback  \n"
                             "          inet addr:127.0.0.1  Mask:255.0.0.0\n";

constexpr char NEW_STYLE[] =
    "eth0: flags=4163<UP,BROADCAST,RUNNING,MULTICAST>  mtu 1500\n"
    "        inet 10.0.0.5  netmask 255.255.255.0  broadcast 10.0.0.255\n"
    "        inet6 fe80::20c:29ff:feaa:bbcc  prefixlen 64  scopeid 0x20<link>\n"
    "        ether 00:0c:29:aa:bb:cc  txqueuelen 1000  (Ethernet)\n"
    "\n"
    "lo: flags=73<UP,LOOPBACK,RUNNING>  mtu 65536\n"
    "        inet 127.0.0.1  netmask 255.0.0.0\n";

}

TEST(IfconfigOutput, readsTheNewStyle)
{
    Adapters const adapters = adaptersIn(NEW_STYLE);
    EXPECT_EQ(adapters.found, (Strings{"eth0", "lo"}));
    ASSERT_EQ(adapters.blocks.size(), 2U);
    EXPECT_EQ(adapters.blocks[0].name, "eth0");
    EXPECT_EQ(adapters.blocks[0].addresses, (Strings{"10.0.0.5", "fe80::20c:29ff:feaa:bbcc"}));
    EXPECT_EQ(adapters.blocks[0].netmasks, Strings{"255.255.255.0"});
    EXPECT_EQ(adapters.blocks[0].hardwareAddresses, Strings{"00:0c:29:aa:bb:cc"});
    EXPECT_EQ(adapters.blocks[1].name, "lo");
    EXPECT_EQ(adapters.blocks[1].addresses, Strings{"127.0.0.1"});
    EXPECT_EQ(adapters.blocks[1].netmasks, Strings{"255.0.0.0"});
    EXPECT_TRUE(adapters.blocks[1].hardwareAddresses.empty());
}

TEST(IfconfigOutput, readsAnIPv6AddressOfTheOldStyleAsAnEmptyStringKept)
{
    Adapters const adapters = adaptersIn(OLD_STYLE);
    EXPECT_EQ(adapters.found, (Strings{"eth0", "lo"}));
    ASSERT_EQ(adapters.blocks.size(), 2U);
    EXPECT_EQ(adapters.blocks[0].addresses, (Strings{"10.0.0.5", ""}));
    EXPECT_EQ(adapters.blocks[0].netmasks, Strings{"255.255.255.0"});
    EXPECT_EQ(adapters.blocks[0].hardwareAddresses, Strings{"00:0C:29:AA:BB:CC"});
    EXPECT_EQ(adapters.blocks[1].addresses, Strings{"127.0.0.1"});
    EXPECT_EQ(adapters.blocks[1].netmasks, Strings{"255.0.0.0"});
}

TEST(IfconfigOutput, endsANameAtAZeroByte)
{
    EXPECT_EQ(namesOf(adaptersIn("et\0h0: flags\n"s)), Strings{"et"});
    // A block without a name is not listed.
    EXPECT_EQ(namesOf(adaptersIn("\0h0: flags\nlo: flags\n"s)), Strings{"lo"});
}

TEST(IfconfigOutput, returnsABlockWithoutANameWhenNoAdapterFollows)
{
    EXPECT_EQ(namesOf(adaptersIn("")), Strings{""});
    EXPECT_EQ(namesOf(adaptersIn("\n\n")), Strings{""});
    Adapters const stray = adaptersIn("  inet 10.0.0.1  netmask 255.0.0.0\n");
    EXPECT_TRUE(stray.found.empty());
    EXPECT_EQ(stray.blocks.back().addresses, Strings{"10.0.0.1"});
    // Drops the lines before the first name.
    Adapters const named = adaptersIn("  inet 10.0.0.1\neth0: x\n");
    EXPECT_EQ(namesOf(named), Strings{"eth0"});
    EXPECT_TRUE(named.blocks.back().addresses.empty());
}

TEST(IfconfigOutput, endsANameAtTheFirstColonOrBlank)
{
    for (std::string const end : {":", " ", "\t", "\r", "\v", ": flags", ":1    Link"})
        EXPECT_EQ(adaptersIn("eth0" + end + "\n").found, Strings{"eth0"}) << end;
    EXPECT_EQ(adaptersIn("eth0").found, Strings{"eth0"});
    EXPECT_EQ(adaptersIn("eth0\f: x").found, Strings{"eth0\f"});
    EXPECT_EQ(adaptersIn("br-12.3@x: y").found, Strings{"br-12.3@x"});
}

TEST(IfconfigOutput, beginsNoBlockAtALineThatBeginsWithABlankOrAColon)
{
    for (std::string const begin : {" ", "\t", "\r", "\v", ":"})
        EXPECT_TRUE(adaptersIn(begin + "eth0: flags\n").found.empty());
}

TEST(IfconfigOutput, givesEachAliasABlockWithTheAdaptersNameKept)
{
    Adapters const adapters = adaptersIn(
        "eth0      Link encap:Ethernet  HWaddr 00:0C:29:AA:BB:CC\n          inet addr:10.0.0.5\n\n"
        "eth0:1    Link encap:Ethernet  HWaddr 00:0C:29:AA:BB:CC\n          inet addr:10.0.0.6\n\n"
        "eth0:web: flags=1\n        inet 10.0.0.7\n");
    EXPECT_EQ(namesOf(adapters), (Strings{"eth0", "eth0", "eth0"}));
    EXPECT_EQ(adapters.blocks[1].addresses, Strings{"10.0.0.6"});
    EXPECT_EQ(adapters.blocks[2].addresses, Strings{"10.0.0.7"});
}

TEST(IfconfigOutput, readsTheWordAfterAKeyword)
{
    EXPECT_EQ(
        blockOf("  inet 1.2.3.4\n  inet 5.6.7.8\n").addresses, (Strings{"1.2.3.4", "5.6.7.8"}));
    EXPECT_EQ(blockOf("  inet6 fe80::1/64\n").addresses, Strings{"fe80::1"});
    EXPECT_EQ(blockOf("\tinet\t1.2.3.4\tnetmask\t0xffffff00\n").netmasks, Strings{"0xffffff00"});
    EXPECT_EQ(blockOf("  inet nonsense\n").addresses, Strings{"nonsense"});
    EXPECT_EQ(blockOf("  Mask:255.255.0.0\n").netmasks, Strings{"255.255.0.0"});
    EXPECT_EQ(blockOf("  ether a\n  HWaddr b\n").hardwareAddresses, (Strings{"a", "b"}));
    EXPECT_EQ(blockOf("  inet/1.2.3.4\n").addresses, Strings{"1.2.3.4"});
}

TEST(IfconfigOutput, readsAnEmptyWordBetweenTwoBlanksKept)
{
    EXPECT_EQ(blockOf("  inet  1.2.3.4\n").addresses, Strings{""});
    EXPECT_EQ(blockOf("  inet addr: 1.2.3.4\n").addresses, Strings{""});
    EXPECT_EQ(blockOf("  netmask  255.0.0.0\n").netmasks, Strings{""});
    EXPECT_EQ(blockOf("  inet \n").addresses, Strings{""});
    EXPECT_EQ(blockOf("  ether\t\t00:11\n").hardwareAddresses, Strings{""});
}

TEST(IfconfigOutput, readsNothingAfterAKeywordAtTheEndOfALine)
{
    AdapterText const block = blockOf("  inet\n  netmask\n  ether\n  1.2.3.4\n");
    EXPECT_TRUE(block.addresses.empty());
    EXPECT_TRUE(block.netmasks.empty());
    EXPECT_TRUE(block.hardwareAddresses.empty());
}

TEST(IfconfigOutput, readsAValueThatIsAKeywordAsBoth)
{
    AdapterText const block = blockOf("  inet inet6 netmask ether x\n");
    EXPECT_EQ(block.addresses, (Strings{"inet6", "netmask"}));
    EXPECT_EQ(block.netmasks, Strings{"ether"});
    EXPECT_EQ(block.hardwareAddresses, Strings{"x"});
}

TEST(IfconfigOutput, acceptsKeywordsInOneSpellingOnly)
{
    AdapterText const block =
        blockOf("  Inet 1\n  INET 1\n  inet4 1\n  xinet 1\n  mask 1\n  Netmask 1\n  hwaddr 1\n"
                "  Ether 1\n  inet: 1\n");
    EXPECT_TRUE(block.addresses.empty());
    EXPECT_TRUE(block.netmasks.empty());
    EXPECT_TRUE(block.hardwareAddresses.empty());
}

TEST(IfconfigOutput, removesPrefixesAnywhereInALine)
{
    EXPECT_EQ(blockOf("  inet addr:addr:1.2.3.4\n").addresses, Strings{"1.2.3.4"});
    EXPECT_EQ(blockOf("  inet 1.addr:2.3.4\n").addresses, Strings{"1.2.3.4"});
    EXPECT_EQ(blockOf("  HWaddr:x\n").hardwareAddresses, Strings());
    // Does not remove a prefix that a removal makes.
    EXPECT_EQ(blockOf("  inet adaddr:dr:1\n").addresses, Strings{"addr:1"});
    EXPECT_EQ(blockOf("  P-t-P:10.0.0.2  Mask:Mask:1\n").netmasks, (Strings{"Mask", "1"}));
}

TEST(IfconfigOutput, removesAPrefixAtTheStartOfALine)
{
    Adapters const adapters = adaptersIn("Mask:255.0.0.0\n");
    EXPECT_EQ(namesOf(adapters), Strings{"Mask"});
    EXPECT_EQ(adapters.blocks.back().netmasks, Strings{"255.0.0.0"});
}

TEST(IfconfigOutput, readsValuesOnTheLineOfTheName)
{
    AdapterText const block = adaptersIn("eth0 inet 1.2.3.4 ether x").blocks.back();
    EXPECT_EQ(block.addresses, Strings{"1.2.3.4"});
    EXPECT_EQ(block.hardwareAddresses, Strings{"x"});
    EXPECT_EQ(adaptersIn("inet 1.2.3.4").blocks.back().addresses, Strings{"1.2.3.4"});
}

TEST(IfconfigOutput, readsOnlyTheEnglishPartsOfATranslation)
{
    AdapterText const german = blockOf(
        "  Hardware Adresse 00:0c:29:aa:bb:cc\n  inet Adresse:10.0.0.5  Maske:255.255.255.0\n");
    EXPECT_EQ(german.addresses, Strings{"Adresse:10.0.0.5"});
    EXPECT_TRUE(german.netmasks.empty());
    EXPECT_TRUE(german.hardwareAddresses.empty());
    AdapterText const french = blockOf("  inet adr:10.0.0.5  Masque:255.255.255.0\n");
    EXPECT_EQ(french.addresses, Strings{"adr:10.0.0.5"});
    EXPECT_TRUE(french.netmasks.empty());
}

TEST(IfconfigOutput, beginsABlockAtAWarningOfTheToolKept)
{
    Adapters const adapters = adaptersIn(
        "ib0       Link encap:UNSPEC  HWaddr 80-00-00-4A-FE-80-00-00-00-00-00-00-00-00-00-00\n"
        "          inet addr:10.0.0.5  Mask:255.255.255.0\n"
        "Infiniband hardware address can be incorrect! Please read BUGS section in ifconfig(8).\n"
        "          inet addr:10.0.0.6  Mask:255.255.255.0\n\n"
        "Ifconfig uses the ioctl access method to get the full address information, which limits "
        "hardware addresses to 8 bytes.\n"
        "lo        Link encap:Local Loopback\n");
    EXPECT_EQ(namesOf(adapters), (Strings{"ib0", "Infiniband", "Ifconfig", "lo"}));
    EXPECT_EQ(adapters.blocks[0].addresses, Strings{"10.0.0.5"});
    EXPECT_EQ(adapters.blocks[1].addresses, Strings{"10.0.0.6"});
}

TEST(IfconfigOutput, readsHundredsOfAdaptersAndAliases)
{
    std::string output;
    for (int i = 0; i < 256; ++i)
        output += "eth" + std::to_string(i) + ": flags=1\n        inet 10.0.0.5\n\n";
    for (int i = 0; i < 250; ++i)
        output += "eth255:" + std::to_string(i) + ": flags=1\n        inet 10.0.1.5\n\n";
    Adapters const adapters = adaptersIn(output);
    ASSERT_EQ(adapters.blocks.size(), 506U);
    EXPECT_EQ(adapters.blocks[254].name, "eth254");
    EXPECT_EQ(adapters.blocks[505].name, "eth255");
    EXPECT_EQ(adapters.blocks[505].addresses, Strings{"10.0.1.5"});
}

TEST(IfconfigOutput, acceptsCarriageReturnsAtLineEnds)
{
    Adapters const adapters =
        adaptersIn("eth0: flags=1\r\n        inet 10.0.0.5  netmask 255.0.0.0\r\n\r\nlo: x\r\n");
    EXPECT_EQ(namesOf(adapters), (Strings{"eth0", "lo"}));
    EXPECT_EQ(adapters.blocks[0].addresses, Strings{"10.0.0.5"});
    EXPECT_EQ(adapters.blocks[0].netmasks, Strings{"255.0.0.0"});
}

TEST(IfconfigOutput, acceptsAnyBytesAndLongLines)
{
    Adapters const adapters = adaptersIn("\xC3\xA9t\xC3\xA9: x\n\xFF\x00z y\n  inet \x00\xFE\n"s);
    EXPECT_EQ(adapters.found, (Strings{"\xC3\xA9t\xC3\xA9", "\xFF"}));
    EXPECT_EQ(adapters.blocks.back().addresses, Strings{"\x00\xFE"s});
    std::string const longLine = "  " + std::string(1'000'000, 'x') + " inet 1.2.3.4";
    EXPECT_EQ(blockOf(longLine).addresses, Strings{"1.2.3.4"});
}

TEST(IfconfigOutput, readsTheSameInPiecesOfAnySize)
{
    for (size_t const size : {1, 7, 128}) {
        testkit::PiecewiseBuffer buffer(OLD_STYLE, size);
        std::istream stream(&buffer);
        Adapters const adapters = adaptersIn(stream);
        EXPECT_EQ(namesOf(adapters), (Strings{"eth0", "lo"}));
        EXPECT_EQ(adapters.blocks[0].addresses, (Strings{"10.0.0.5", ""}));
    }
}

TEST(IfconfigOutput, returnsTheBlocksReadBeforeTheStreamThrows)
{
    testkit::PiecewiseBuffer buffer(
        "eth0: x\n inet 1.2.3.4\nlo", 4, testkit::PiecewiseBuffer::THROWS);
    std::istream stream(&buffer);
    EXPECT_EQ(adaptersIn(stream).blocks.front().addresses, Strings{"1.2.3.4"});
}
