// Insertion into narrow and wide streams. Compiled for each C++ standard that hosts use.

#include "common/basic/NetworkError.h"
#include "common/basic/inet_address.h"
#include "common/basic/macaddress.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <memory>
#include <sstream>
#include <string>

using dovrel::inet_address;
using dovrel::ip_address;
using dovrel::macaddress_cpp;
using dovrel::string;

namespace {

/** Expects @p text in a narrow and in a wide stream, in spite of their format flags. */
template <class Value> void expectWritten(Value const& value, std::string const& text)
{
    std::ostringstream narrow;
    narrow << std::setw(60) << std::setfill('*') << std::hex << std::uppercase << value;
    EXPECT_EQ(narrow.str(), text);
    EXPECT_TRUE(narrow.good());
    std::wostringstream wide;
    wide << std::setw(60) << std::setfill(L'*') << std::hex << std::uppercase << value;
    EXPECT_EQ(wide.str(), std::wstring(text.begin(), text.end()));
    EXPECT_TRUE(wide.good());
}

}

TEST(StreamInsertion, writesAMacAddress)
{
    macaddress_cpp address;
    expectWritten(address, "00:00:00:00:00:00:00:00");
    unsigned char const bytes[] = {0x00, 0x1a, 0x2b, 0x3c, 0x4d, 0x5e, 0xf0, 0x0f};
    for (unsigned i = 0; i < macaddress_cpp::SIZE; ++i)
        address[i] = bytes[i];
    expectWritten(address, "00:1a:2b:3c:4d:5e:f0:0f");
}

TEST(StreamInsertion, writesAnAddress)
{
    expectWritten(ip_address(), "0.0.0.0");
    expectWritten(ip_address(string("10.0.0.1")), "10.0.0.1");
    expectWritten(ip_address(string("fe80::1")), "fe80::1");
}

TEST(StreamInsertion, writesAnAddressWithItsPort)
{
    expectWritten(inet_address(string("10.0.0.1:443")), "10.0.0.1:443");
    std::unique_ptr<ip_address> const base = std::make_unique<inet_address>(string("fe80::1:443"));
    expectWritten(*base, "fe80::1:443");
}

TEST(StreamInsertion, writesInvalidForAnInvalidAddress)
{
    EXPECT_THROW(ip_address(string("host")).toStringInternal(), dovrel::NetworkError);
    expectWritten(ip_address(string("host")), "<invalid>");
    expectWritten(inet_address(string("10.0.0.1")), "<invalid>");
}

TEST(StreamInsertion, writesAString)
{
    expectWritten(string("text"), "text");
}
