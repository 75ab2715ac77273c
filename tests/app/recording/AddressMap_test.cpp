#include "app/recording/redaction/AddressMap.h"
#include "tests/app/recording/RandomMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <random>

using app::AddressMap;
using app_recording_test::ipBytes;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

std::string ipText(std::string const& bytes)
{
    std::array<char, INET6_ADDRSTRLEN> text{};
    inet_ntop(bytes.size() == 4 ? AF_INET : AF_INET6, bytes.data(), text.data(), text.size());
    return text.data();
}

/** A map of these addresses, which may have a prefix length behind them. */
class Addresses {
public:
    explicit Addresses(std::vector<std::string> const& texts)
    {
        for (std::string const& text : texts) {
            size_t const slash = text.find('/');
            std::string const bytes = ipBytes(text.substr(0, slash));
            m_map.addIp(bytes);
            if (slash != std::string::npos)
                m_map.addNetwork(bytes, static_cast<unsigned>(std::stoul(text.substr(slash + 1))));
        }
    }

    AddressMap& map() { return m_map; }

    std::string operator[](std::string const& text)
    {
        return ipText(m_map.replacedIp(ipBytes(text)));
    }

private:
    AddressMap m_map;
};

unsigned commonBits(std::string const& first, std::string const& second)
{
    for (unsigned bit = 0; bit < first.size() * 8; ++bit)
        if (((static_cast<unsigned char>(first[bit / 8])
                 ^ static_cast<unsigned char>(second[bit / 8]))
                    >> (7 - bit % 8)
                & 1)
            != 0)
            return bit;
    return static_cast<unsigned>(first.size() * 8);
}

}

TEST(AddressMap, addressesWithEqualFirstBitsKeepThemEqual)
{
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same addresses in each run.
    std::vector<std::string> texts;
    for (int i = 0; i < 60; ++i)
        texts.push_back("10." + std::to_string(random() % 4) + "." + std::to_string(random() % 256)
            + "." + std::to_string(random() % 256));
    for (int i = 0; i < 60; ++i)
        texts.push_back("2a00:1450:" + std::to_string(1 + random() % 8)
            + "::" + std::to_string(1 + random() % 5000) + ":7");
    Addresses addresses(texts);
    addresses.map().choose();
    for (std::string const& one : texts)
        for (std::string const& other : texts) {
            if (ipBytes(one).size() != ipBytes(other).size())
                continue;
            EXPECT_EQ(commonBits(ipBytes(one), ipBytes(other)),
                commonBits(ipBytes(addresses[one]), ipBytes(addresses[other])))
                << one << " " << other;
        }
}

TEST(AddressMap, aNetworkKeepsItsFirstAndLastAddressAndItsGateway)
{
    for (int i = 0; i < 50; ++i) {
        Addresses addresses({"172.20.33.77/27", "172.20.33.64", "172.20.33.95", "172.20.33.65",
            "10.9.8.0", "10.9.8.255"});
        addresses.map().choose();
        auto const lastByte = [&](char const* text) {
            return static_cast<unsigned char>(ipBytes(addresses[text])[3]);
        };
        EXPECT_EQ(lastByte("172.20.33.64") % 32, 0);
        EXPECT_EQ(lastByte("172.20.33.95") % 32, 31);
        for (char const* const host : {"172.20.33.77", "172.20.33.65", "172.20.33.95"})
            EXPECT_EQ(lastByte(host) / 32, lastByte("172.20.33.64") / 32) << host;
        EXPECT_NE(lastByte("172.20.33.77") % 32, 0);
        EXPECT_NE(lastByte("172.20.33.77") % 32, 31);
        EXPECT_EQ(lastByte("10.9.8.0"), 0) << "an address that ends in 0 is a network's";
        EXPECT_EQ(lastByte("10.9.8.255"), 255);
    }
}

TEST(AddressMap, privateBlocksMapIntoThemselves)
{
    for (int i = 0; i < 20; ++i) {
        Addresses addresses({"10.1.2.3", "172.31.2.3", "192.168.7.9", "169.254.3.4", "100.100.1.2",
            "239.1.2.3", "fc12:3456:789a::7", "fd12:3456:789a::7", "fe80::1234:5678:9abc:def0",
            "ff05::1:3"});
        addresses.map().choose();
        EXPECT_THAT(addresses["10.1.2.3"], StartsWith("10."));
        EXPECT_EQ(static_cast<unsigned char>(ipBytes(addresses["172.31.2.3"])[1]) / 16, 1);
        EXPECT_THAT(addresses["172.31.2.3"], StartsWith("172."));
        EXPECT_THAT(addresses["192.168.7.9"], StartsWith("192.168."));
        EXPECT_THAT(addresses["169.254.3.4"], StartsWith("169.254."));
        EXPECT_EQ(static_cast<unsigned char>(ipBytes(addresses["100.100.1.2"])[1]) / 64, 1);
        EXPECT_THAT(addresses["239.1.2.3"], StartsWith("239."));
        EXPECT_THAT(addresses["fc12:3456:789a::7"], StartsWith("fc"));
        EXPECT_THAT(addresses["fd12:3456:789a::7"], StartsWith("fd"));
        EXPECT_THAT(addresses["fe80::1234:5678:9abc:def0"], StartsWith("fe80::"));
        EXPECT_THAT(addresses["ff05::1:3"], StartsWith("ff05::"));
    }
}

TEST(AddressMap, publicAddressesStayPublic)
{
    for (int i = 0; i < 100; ++i) {
        Addresses addresses({"8.8.4.4", "192.30.255.9", "172.217.3.4", "2a00:1450::7"});
        addresses.map().choose();
        for (char const* const text : {"8.8.4.4", "192.30.255.9", "172.217.3.4"}) {
            auto const first = static_cast<unsigned char>(ipBytes(addresses[text])[0]);
            EXPECT_LT(first, 224) << addresses[text];
            for (int const block : {0, 10, 127, 169, 172, 192})
                EXPECT_NE(first, block) << addresses[text];
        }
        EXPECT_EQ(static_cast<unsigned char>(ipBytes(addresses["2a00:1450::7"])[0]) / 32, 1);
    }
}

TEST(AddressMap, addressesThatIdentifyNobodyStay)
{
    std::vector<std::string> const texts = {"0.0.0.0", "127.0.0.1", "127.0.1.1", "255.255.255.255",
        "255.255.240.0", "255.0.0.0", "192.0.2.7", "198.51.100.9", "203.0.113.200", "224.0.0.251",
        "::", "::1", "2001:db8:1::5", "3fff:abc::5", "ff02::1", "169.254.169.254"};
    Addresses addresses(texts);
    addresses.map().choose();
    for (std::string const& text : texts)
        EXPECT_EQ(addresses[text], text);
}

TEST(AddressMap, noReplacementIsARecordedAddress)
{
    std::vector<std::string> texts;
    for (int i = 1; i <= 60; ++i)
        texts.push_back("192.168." + std::to_string(i) + "." + std::to_string(i + 1) + "/24");
    for (int i = 0; i < 20; ++i) {
        Addresses addresses(texts);
        addresses.map().choose();
        std::vector<std::string> same;
        for (std::string const& text : addresses.map().ips())
            if (addresses.map().ips().count(addresses.map().replacedIp(text)) != 0)
                same.push_back(ipText(text));
        EXPECT_THAT(same, IsEmpty());
    }
}

TEST(AddressMap, theHalfOfAnIpv6AddressFollowsTheMacAddress)
{
    Addresses addresses({"fe80::21b:21ff:feaa:bbcc", "2001:db8::21b:21ff:feaa:bbcc"});
    std::string const mac("\x00\x1b\x21\xaa\xbb\xcc", 6);
    addresses.map().choose();
    std::string const other = addresses.map().replacedHardware(mac);
    EXPECT_EQ(other.substr(0, 3), mac.substr(0, 3)) << "the maker's part";
    EXPECT_NE(other.substr(3), mac.substr(3));
    std::string const half = "\x02\x1b\x21\xff\xfe" + other.substr(3);
    EXPECT_THAT(ipBytes(addresses["fe80::21b:21ff:feaa:bbcc"]), EndsWith(half));
    EXPECT_EQ(ipBytes(addresses["2001:db8::21b:21ff:feaa:bbcc"]),
        ipBytes("2001:db8::").substr(0, 8) + half);
}

TEST(AddressMap, emptyAndBroadcastHardwareAddressesStay)
{
    AddressMap map;
    for (std::string const& address : {std::string(6, '\0'), std::string(6, '\xff')}) {
        map.addHardware(address);
        map.choose();
        EXPECT_EQ(map.replacedHardware(address), address);
    }
}

TEST(AddressMap, anIpv6AddressKeepsTheLengthOfItsText)
{
    for (int i = 0; i < 50; ++i) {
        std::vector<std::string> const texts = {"2a00:1450:4001:8::7", "fe80::7",
            "fd00:1:2:3:4:5:6:789a", "2a00::1:0:0:5", "2a00:b:c0:d:0:f::"};
        Addresses addresses(texts);
        addresses.map().choose();
        for (std::string const& text : texts)
            EXPECT_EQ(addresses[text].size(), text.size()) << text << " " << addresses[text];
    }
}
