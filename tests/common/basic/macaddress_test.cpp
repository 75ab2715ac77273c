#include "common/basic/macaddress.h"
#include "common/basic/text_cast.h"

#include <gtest/gtest.h>

#include <array>
#include <iomanip>
#include <sstream>
#include <string>

using dovrel::macaddress_cpp;

namespace {

macaddress_cpp macAddress(std::array<uint8_t, 8> const& bytes)
{
    macaddress_cpp made;
    for (unsigned i = 0; i < bytes.size(); ++i)
        made[i] = bytes[i];
    return made;
}

std::wstring written(macaddress_cpp const& value)
{
    std::wostringstream out;
    out << value;
    return out.str();
}

/** The bytes read, "bad" behind them where the stream is not good then. */
std::wstring readFrom(wchar_t const* text)
{
    std::wistringstream in(text);
    macaddress_cpp value = macAddress({0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE});
    in >> value;
    return written(value) + (in.good() ? L"" : L" bad");
}

TEST(MacAddress, isZeroByDefault)
{
    macaddress_cpp const value{};
    for (unsigned i = 0; i < macaddress_cpp::SIZE; ++i)
        EXPECT_EQ(value[i], 0);
    EXPECT_EQ(sizeof value, 8U);
}

TEST(MacAddress, comparesAllEightBytes)
{
    macaddress_cpp const value = macAddress({1, 2, 3, 4, 5, 6, 7, 8});
    for (unsigned i = 0; i < macaddress_cpp::SIZE; ++i) {
        macaddress_cpp other = value;
        EXPECT_TRUE(other == value);
        EXPECT_FALSE(other != value);
        other[i] ^= 0x80;
        EXPECT_FALSE(other == value) << i;
        EXPECT_TRUE(other != value) << i;
    }
}

TEST(MacAddressWriter, writesEightPairsOfHexDigits)
{
    EXPECT_EQ(written(macAddress({0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E, 0, 0})),
        L"00:1a:2b:3c:4d:5e:00:00");
    EXPECT_EQ(written(macAddress({0xFF, 0x80, 0x7F, 0x0F, 0xF0, 0xAB, 0xCD, 0xEF})),
        L"ff:80:7f:0f:f0:ab:cd:ef");
}

TEST(MacAddressWriter, ignoresAndKeepsTheStreamsFormat)
{
    std::wostringstream out;
    out << std::uppercase << std::showbase << std::oct << std::left << std::setfill(L'*')
        << std::setw(40);
    auto const flags = out.flags();
    out << macAddress({0x0A, 0xBC, 0, 0, 0, 0, 0, 0xFF});
    EXPECT_EQ(out.str(), L"0a:bc:00:00:00:00:00:ff");
    EXPECT_EQ(out.flags(), flags);
    EXPECT_EQ(out.fill(), L'*');
}

TEST(MacAddressWriter, isReadBackByTheReader)
{
    macaddress_cpp const value = macAddress({0x12, 0x34, 0x56, 0x78, 0x9A, 0xBC, 0xDE, 0xF0});
    EXPECT_EQ(readFrom(written(value).c_str()), written(value));
}

TEST(MacAddressReader, acceptsSixBytesWithMixedSeparators)
{
    EXPECT_EQ(readFrom(L"00-1A-2b:3c-4d-5e"), L"00:1a:2b:3c:4d:5e:00:00");
    EXPECT_EQ(readFrom(L"00:1a:2b:3c:4d:5e"), L"00:1a:2b:3c:4d:5e:00:00");
    EXPECT_EQ(readFrom(L"00-1a-2b-3c-4d-5e"), L"00:1a:2b:3c:4d:5e:00:00");
}

TEST(MacAddressReader, acceptsEightBytes)
{
    EXPECT_EQ(readFrom(L"00:1A:2B:3C:4D:5E:6F:70"), L"00:1a:2b:3c:4d:5e:6f:70");
    EXPECT_EQ(readFrom(L"00:1a:2b:3c:4d:5e:6f:70:"), L"00:1a:2b:3c:4d:5e:6f:70");
    EXPECT_EQ(readFrom(L"00:1a:2b:3c:4d:5e:6f:70-81"), L"00:1a:2b:3c:4d:5e:6f:70");
}

TEST(MacAddressReader, acceptsAnythingButASeparatorAfterAnAddress)
{
    EXPECT_EQ(readFrom(L"00:1a:2b:3c:4d:5e/24"), L"00:1a:2b:3c:4d:5e:00:00");
    EXPECT_EQ(readFrom(L"00:1a:2b:3c:4d:5e\n"), L"00:1a:2b:3c:4d:5e:00:00");
    EXPECT_EQ(readFrom(L"00:1a:2b:3c:4d:5e:6f:70/x"), L"00:1a:2b:3c:4d:5e:6f:70");
}

TEST(MacAddressReader, failsOnAnyOtherNumberOfBytes)
{
    EXPECT_EQ(readFrom(L""), L"ee:ee:ee:ee:ee:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11"), L"11:ee:ee:ee:ee:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:"), L"11:ee:ee:ee:ee:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22"), L"11:22:ee:ee:ee:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33"), L"11:22:33:ee:ee:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33:44"), L"11:22:33:44:ee:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33:44:55"), L"11:22:33:44:55:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33:44:55:66:77"), L"11:22:33:44:55:66:77:ee bad");
}

TEST(MacAddressReader, failsWhenNoByteFollowsASeparator)
{
    EXPECT_EQ(readFrom(L"11:22:33:44:55:"), L"11:22:33:44:55:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33:44:55:66:"), L"11:22:33:44:55:66:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33:44:55:66:77:"), L"11:22:33:44:55:66:77:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33:44:55:xx"), L"11:22:33:44:55:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33:44:55:66:77:xx"), L"11:22:33:44:55:66:77:ee bad");
}

TEST(MacAddressReader, failsOnOtherSeparators)
{
    EXPECT_EQ(readFrom(L"11.22.33.44.55.66"), L"11:ee:ee:ee:ee:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"11:22:33/44:55:66"), L"11:22:33:ee:ee:ee:ee:ee bad");
    EXPECT_EQ(readFrom(L"no address"), L"ee:ee:ee:ee:ee:ee:ee:ee bad");
}

TEST(MacAddressReader, keepsTheLowEightBitsOfEachNumber)
{
    EXPECT_EQ(readFrom(L"1:2:3:4:5:6"), L"01:02:03:04:05:06:00:00");
    EXPECT_EQ(readFrom(L"1234:ff00:0x1a:0:0:fff"), L"34:00:1a:00:00:ff:00:00");
    EXPECT_EQ(readFrom(L"fffffffff:1:2:3:4:5").substr(23), L" bad");
}

TEST(MacAddressReader, readsHexadecimalWhateverTheStreamsFlagsAre)
{
    for (auto const manipulator : {std::dec, std::oct, std::hex}) {
        std::wistringstream in(L"10:1a:2b:3c:4d:5e");
        in >> manipulator;
        in.width(7);
        auto const flags = in.flags();
        macaddress_cpp value;
        in >> value;
        EXPECT_TRUE(in.good());
        EXPECT_EQ(written(value), L"10:1a:2b:3c:4d:5e:00:00");
        EXPECT_EQ(in.flags(), flags);
    }
}

TEST(MacAddressReader, keepsTheStreamsFlagsWhenItFails)
{
    std::wistringstream in(L"10:zz");
    in >> std::oct;
    auto const flags = in.flags();
    macaddress_cpp value;
    in >> value;
    EXPECT_TRUE(in.fail());
    EXPECT_EQ(in.flags(), flags);
}

TEST(MacAddressCast, returnsTheDefaultWhenThereIsNoAddress)
{
    macaddress_cpp const fallback = macAddress({1, 1, 1, 1, 1, 1, 1, 1});
    for (wchar_t const* text : {L"", L"none", L"11:22:33:44:55", L"11:22:33:44:55:66:77"})
        EXPECT_TRUE(dovrel::literal_cast<macaddress_cpp>(text, fallback) == fallback);
}

TEST(MacAddressCast, readsAddresses)
{
    macaddress_cpp const fallback = macAddress({1, 1, 1, 1, 1, 1, 1, 1});
    EXPECT_EQ(written(dovrel::literal_cast<macaddress_cpp>(L" 00:1a:2b:3c:4d:5e", fallback)),
        L"00:1a:2b:3c:4d:5e:00:00");
    EXPECT_EQ(written(dovrel::literal_cast<macaddress_cpp>(L"00:1a:2b:3c:4d:5e:6f:70", fallback)),
        L"00:1a:2b:3c:4d:5e:6f:70");
}

}
