#include "common/basic/inet_address.h"

#include "common/basic/text_cast.h"
#include "tests/common/basic/address_text.h"
#include "tests/common/basic/network_error_code.h"
#include "tests/common/basic/random_addresses.h"
#include "tests/common/basic/strict_weak_order.h"
#include "tests/common/basic/string_fields.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

using dovrel::inet_address;
using dovrel::ip_address;
using dovrel::string;

namespace {

inet_address parsed(std::string const& text)
{
    return inet_address(string(text));
}

void expectInvalid(inet_address const& value)
{
    EXPECT_EQ(value.family(), ip_address::AF_INVALID);
    EXPECT_EQ(value.port(), 0);
    EXPECT_EQ(networkErrorCode([&] { value.toStringInternal(); }), -6);
}

inet_address scoped(uint32_t scope, uint32_t flow = 0)
{
    inet_address value = parsed("fe80::1:80");
    auto& storage = reinterpret_cast<sockaddr_in6&>(value.sockaddr());
    storage.sin6_scope_id = scope;
    storage.sin6_flowinfo = flow;
    return value;
}

class Socket {
public:
    Socket(int family, int type) : m_number(::socket(family, type | SOCK_CLOEXEC, 0)) { }
    explicit Socket(int number) : m_number(number) { }
    Socket(Socket const&) = delete;
    Socket& operator=(Socket const&) = delete;
    ~Socket() { ::close(m_number); }

    int number() const { return m_number; }

private:
    int m_number;
};

/** Connects two sockets on @p loopback and compares the names of both ends. */
void expectBothEnds(char const* loopback)
{
    inet_address const own(0, string(loopback));
    Socket const listener(own.family(), SOCK_STREAM);
    ASSERT_EQ(::bind(listener.number(), own.sockaddrPtr(), own.sockaddrsize()), 0);
    ASSERT_EQ(::listen(listener.number(), 1), 0);
    inet_address const server = inet_address::getSockName(listener.number());
    EXPECT_TRUE(server.ip_address::isEqual(own));
    EXPECT_NE(server.port(), 0);

    Socket const client(own.family(), SOCK_STREAM);
    ASSERT_EQ(::connect(client.number(), server.sockaddrPtr(), server.sockaddrsize()), 0);
    Socket const accepted(::accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
    EXPECT_TRUE(inet_address::getPeerName(client.number()).isEqual(server));
    EXPECT_TRUE(inet_address::getSockName(accepted.number()).isEqual(server));
    EXPECT_TRUE(inet_address::getPeerName(accepted.number())
                    .isEqual(inet_address::getSockName(client.number())));
    EXPECT_EQ(textOf(server), std::string(loopback) + ':' + std::to_string(server.port()));
}

}

TEST(InetAddress, parsesAddressColonPort)
{
    for (std::string const text : {"10.0.0.1:8080", "10.0.0.1:0", "10.0.0.1:65535", "fe80::1:443",
             "::ffff:10.0.0.1:80", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff:1"}) {
        inet_address const value = parsed(text);
        EXPECT_TRUE(value.valid()) << text;
        EXPECT_EQ(std::to_string(value.port()), text.substr(text.rfind(':') + 1));
        EXPECT_EQ(textOf(value), text);
    }
}

TEST(InetAddress, isInvalidForAnyOtherString)
{
    for (std::string const text :
        {"", "10.0.0.1", "10.0.0.1:", "10.0.0.1:x", "10.0.0.1:-1", "[::1]:80", "::1", ":80", ":",
            "::", "host:80", "10.0.0.1.:80", "10.0.0:80", "10.0.0.1:99999999999", "10.0.0.1 :80"}) {
        SCOPED_TRACE(text);
        expectInvalid(parsed(text));
    }
    expectInvalid(parsed("10.0.0.1:80:"));
    expectInvalid(parsed("10.0.0.1:80:80"));
}

TEST(InetAddress, splitsAtTheLastColonKept)
{
    inet_address const value = parsed("fe80::1:80");
    EXPECT_EQ(value.port(), 80);
    EXPECT_TRUE(value.ip_address::isEqual(ip_address(string("fe80::1"))));
    inet_address const all = parsed(":::80");
    EXPECT_EQ(all.port(), 80);
    EXPECT_TRUE(all.ip_address::isEqual(ip_address(string("::"))));
}

TEST(InetAddress, truncatesAPortToSixteenBitsKept)
{
    EXPECT_EQ(parsed("10.0.0.1:70000").port(), 4464);
    EXPECT_EQ(parsed("10.0.0.1:65536").port(), 0);
    EXPECT_EQ(parsed("10.0.0.1:-2").port(), 65534);
    EXPECT_EQ(parsed("10.0.0.1:2147483647").port(), 65535);
    EXPECT_EQ(parsed("10.0.0.1:65535").port(), 65535);
}

TEST(InetAddress, isConstructedFromAPortAndAnAddressString)
{
    inet_address const ipv4(443, string("10.0.0.1"));
    EXPECT_EQ(textOf(ipv4), "10.0.0.1:443");
    EXPECT_TRUE(ipv4.ipv4());
    inet_address const ipv6(443, string("fe80::1"));
    EXPECT_EQ(textOf(ipv6), "fe80::1:443");
    EXPECT_TRUE(ipv6.isEqual(parsed("fe80::1:443")));
    EXPECT_TRUE(ipv4.isEqual(parsed("10.0.0.1:443")));
}

TEST(InetAddress, doesNotModifyTheParsedString)
{
    string const address("fe80::1");
    EXPECT_TRUE(inet_address(443, address).valid());
    EXPECT_EQ(fieldsOf(address).narrow, nullptr);
    string const whole("fe80::1:443");
    EXPECT_TRUE(inet_address(whole).valid());
    EXPECT_EQ(fieldsOf(whole).narrow, nullptr);
}

TEST(InetAddress, storesNoPortWhenTheAddressIsInvalid)
{
    for (std::string const text : {"", "host", "10.0.0.1:80", "[::1]", "10.0.0"}) {
        inet_address const value(443, string(text));
        expectInvalid(value);
        sockaddr_storage expected{};
        expected.ss_family = ip_address::AF_INVALID;
        EXPECT_EQ(std::memcmp(&value.sockaddr(), &expected, sizeof expected), 0) << text;
    }
}

TEST(InetAddress, isTheWildcardAddressWhenConstructedFromAFamily)
{
    inet_address const ipv4(80, AF_INET);
    EXPECT_EQ(textOf(ipv4), "0.0.0.0:80");
    inet_address const ipv6(8080, AF_INET6);
    EXPECT_EQ(textOf(ipv6), ":::8080");
    EXPECT_EQ(std::memcmp(&reinterpret_cast<sockaddr_in6 const&>(ipv6.sockaddr()).sin6_addr,
                  &in6addr_any, sizeof in6addr_any),
        0);
}

TEST(InetAddress, acceptsAnyFamilyForAWildcardAddress)
{
    for (unsigned short const family :
        std::initializer_list<unsigned short>{AF_UNSPEC, AF_UNIX, 5, 0xFFFF}) {
        inet_address const value(0x1234, family);
        EXPECT_EQ(value.family(), family);
        EXPECT_FALSE(value.valid());
        EXPECT_EQ(value.port(), 0);
        EXPECT_EQ(reinterpret_cast<sockaddr_in const&>(value.sockaddr()).sin_port, htons(0x1234));
    }
}

TEST(InetAddress, setsAPortOnlyWhenItIsValid)
{
    for (char const* const text : {"10.0.0.1:80", "fe80::1:80"}) {
        inet_address value = parsed(text);
        value.setPort(443);
        EXPECT_EQ(value.port(), 443);
        EXPECT_TRUE(value.ip_address::isEqual(parsed(text)));
        value.setPort(0);
        EXPECT_EQ(value.port(), 0);
    }
    inet_address none = parsed("");
    sockaddr_storage const before = none.sockaddr();
    none.setPort(443);
    expectInvalid(none);
    EXPECT_EQ(std::memcmp(&none.sockaddr(), &before, sizeof before), 0);
}

TEST(InetAddress, includesThePortWhenCalledThroughTheBaseClass)
{
    std::unique_ptr<ip_address> const value = std::make_unique<inet_address>(parsed("::1:443"));
    EXPECT_EQ(textOf(*value), "::1:443");
}

TEST(InetAddressEquality, comparesEveryByte)
{
    EXPECT_TRUE(parsed("10.0.0.1:80").isEqual(parsed("10.0.0.1:80")));
    EXPECT_FALSE(parsed("10.0.0.1:80").isEqual(parsed("10.0.0.1:81")));
    EXPECT_FALSE(parsed("10.0.0.1:80").isEqual(parsed("10.0.0.2:80")));
    EXPECT_FALSE(parsed("10.0.0.1:80").isEqual(parsed("::ffff:10.0.0.1:80")));
    inet_address padded = parsed("10.0.0.1:80");
    reinterpret_cast<char*>(&padded.sockaddr())[sizeof(sockaddr_storage) - 1] = 1;
    EXPECT_FALSE(padded.isEqual(parsed("10.0.0.1:80")));
    EXPECT_TRUE(padded.isEqual(padded));
}

TEST(InetAddressEquality, comparesScopeAndFlowUnlikeTheBaseClass)
{
    EXPECT_FALSE(scoped(1).isEqual(scoped(2)));
    EXPECT_FALSE(scoped(1, 1).isEqual(scoped(1, 2)));
    EXPECT_TRUE(scoped(1, 1).isEqual(scoped(1, 1)));
    EXPECT_TRUE(scoped(1, 1).ip_address::isEqual(scoped(2, 2)));
}

TEST(InetAddressEquality, isFalseForInvalidAddresses)
{
    inet_address const none = parsed("");
    EXPECT_FALSE(none.isEqual(none));
    EXPECT_FALSE(none.isEqual(parsed("10.0.0.1:80")));
    EXPECT_FALSE(parsed("10.0.0.1:80").isEqual(none));
}

TEST(InetAddressOrder, comparesTheAddressThenThePort)
{
    EXPECT_TRUE(parsed("10.0.0.1:80").isLess(parsed("10.0.0.1:443")));
    EXPECT_FALSE(parsed("10.0.0.1:443").isLess(parsed("10.0.0.1:80")));
    EXPECT_FALSE(parsed("10.0.0.1:80").isLess(parsed("10.0.0.1:80")));
    EXPECT_TRUE(parsed("192.168.0.1:443").isLess(parsed("10.0.0.2:80")));
    // Ports compare as numbers, not in network byte order.
    EXPECT_TRUE(parsed("fe80::1:255").isLess(parsed("fe80::1:256")));
    EXPECT_TRUE(parsed("fe80::1:32767").isLess(parsed("fe80::1:32768")));
    EXPECT_TRUE(parsed("").isLess(parsed("10.0.0.1:80")));
    EXPECT_FALSE(parsed("10.0.0.1:80").isLess(parsed("")));
    EXPECT_FALSE(parsed("").isLess(parsed("x")));
    EXPECT_FALSE(scoped(1).isLess(scoped(2)) || scoped(2).isLess(scoped(1)));
}

TEST(InetAddressOrder, isAStrictWeakOrder)
{
    std::vector<inet_address> values;
    for (ip_address const& address : testkit::randomAddresses(3000)) {
        inet_address value(0, AF_UNSPEC);
        value.sockaddr() = address.sockaddr();
        values.push_back(value);
    }
    testkit::expectStrictWeakOrder(values, [](inet_address const& a, inet_address const& b) {
        return (!a.valid() && !b.valid()) || (a.ip_address::isEqual(b) && a.port() == b.port());
    });
}

TEST(InetAddress, roundTripsThroughItsString)
{
    unsigned short port = 0;
    for (ip_address const& address : testkit::randomAddresses(3000)) {
        if (!address.valid())
            continue;
        port = static_cast<unsigned short>(port * 31 + 7);
        inet_address const value(port, address.toStringInternal());
        EXPECT_TRUE(inet_address(value.toStringInternal()).isEqual(value)) << textOf(value);
        EXPECT_EQ(value.port(), port);
    }
}

TEST(SocketName, isTheAddressOfEachEnd)
{
    expectBothEnds("127.0.0.1");
}

TEST(SocketName, isInvalidForAUnixSocket)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    Socket const one(ends[0]);
    Socket const other(ends[1]);
    expectInvalid(inet_address::getPeerName(one.number()));
    expectInvalid(inet_address::getSockName(other.number()));
}

TEST(SocketName, throwsMinusOneForEveryErrorKept)
{
    errno = 0;
    EXPECT_EQ(networkErrorCode([] { inet_address::getPeerName(-1); }), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(networkErrorCode([] { inet_address::getSockName(-1); }), -1);
    Socket const unconnected(AF_INET, SOCK_STREAM);
    EXPECT_EQ(networkErrorCode([&] { inet_address::getPeerName(unconnected.number()); }), -1);
    EXPECT_EQ(errno, ENOTCONN);
    EXPECT_EQ(textOf(inet_address::getSockName(unconnected.number())), "0.0.0.0:0");
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    Socket const reader(ends[0]);
    Socket const writer(ends[1]);
    EXPECT_EQ(networkErrorCode([&] { inet_address::getSockName(reader.number()); }), -1);
    EXPECT_EQ(errno, ENOTSOCK);
}
