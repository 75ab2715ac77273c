#include "common/basic/ip_address.h"

#include "tests/common/basic/address_text.h"
#include "tests/common/basic/network_error_code.h"
#include "tests/common/basic/random_addresses.h"
#include "tests/common/basic/strict_weak_order.h"
#include "tests/common/basic/string_fields.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

using dovrel::ip_address;
using dovrel::string;

namespace {

constexpr auto HOST_ORDER = ip_address::host_order;
constexpr auto NETWORK_ORDER = ip_address::network_order;
constexpr auto NO_ORDER = static_cast<ip_address::byteorder_t>(2);

ip_address address(std::string const& text)
{
    return ip_address(string(text));
}

/** @return whether all bytes of @p value from @p begin on are zero. */
bool isZeroFrom(ip_address const& value, size_t begin)
{
    auto const* const bytes = reinterpret_cast<unsigned char const*>(&value.sockaddr());
    for (size_t i = begin; i < sizeof(sockaddr_storage); ++i)
        if (bytes[i] != 0)
            return false;
    return true;
}

void expectInvalid(ip_address const& value)
{
    EXPECT_EQ(value.family(), ip_address::AF_INVALID);
    EXPECT_FALSE(value.valid() || value.ipv4() || value.ipv6());
    EXPECT_EQ(networkErrorCode([&] { value.toStringInternal(); }), -6);
    EXPECT_EQ(value.sockaddrsize(), 28U);
    EXPECT_EQ(value.ipv4AsInteger(HOST_ORDER), ip_address::BAD_ADDRESS);
    EXPECT_EQ(value.ipv4AsInteger(NETWORK_ORDER), ip_address::BAD_ADDRESS);
}

sockaddr_in someIPv4()
{
    sockaddr_in made{};
    made.sin_family = AF_INET;
    made.sin_port = htons(80);
    made.sin_addr.s_addr = htonl(0x0A000001);
    std::memset(made.sin_zero, 0x77, sizeof made.sin_zero);
    return made;
}

sockaddr_in6 someIPv6()
{
    sockaddr_in6 made{};
    made.sin6_family = AF_INET6;
    made.sin6_port = htons(443);
    made.sin6_flowinfo = 0x12345678;
    made.sin6_scope_id = 3;
    ::inet_pton(AF_INET6, "fe80::1", &made.sin6_addr);
    return made;
}

/** @return whether the socket address of @p value begins with the bytes of @p structure. */
template <class Structure> bool beginsWith(ip_address const& value, Structure const& structure)
{
    return std::memcmp(&value.sockaddr(), &structure, sizeof structure) == 0;
}

template <class Structure>::sockaddr const* pointer(Structure const& structure)
{
    return reinterpret_cast<::sockaddr const*>(&structure);
}

}

TEST(IPAddress, isTheValidAddressZeroByDefault)
{
    ip_address const value;
    EXPECT_TRUE(value.valid() && value.ipv4());
    EXPECT_FALSE(value.ipv6());
    EXPECT_EQ(value.family(), 2);
    EXPECT_EQ(textOf(value), "0.0.0.0");
    EXPECT_TRUE(isZeroFrom(value, sizeof(sa_family_t)));
}

TEST(IPAddress, parsesIPv4Addresses)
{
    for (char const* const text :
        {"0.0.0.0", "10.1.2.3", "127.0.0.1", "192.168.255.254", "255.255.255.255"}) {
        ip_address const value = address(text);
        EXPECT_TRUE(value.ipv4()) << text;
        EXPECT_FALSE(value.ipv6()) << text;
        EXPECT_EQ(value.sockaddrsize(), 16U);
        EXPECT_EQ(textOf(value), text);
        EXPECT_TRUE(isZeroFrom(value, 8)) << text;
    }
}

TEST(IPAddress, parsesIPv6Addresses)
{
    for (char const* const text : {"::", "::1", "fe80::1", "::ffff:10.0.0.1", "2001:db8::1:0:0:1",
             "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"}) {
        ip_address const value = address(text);
        EXPECT_TRUE(value.ipv6()) << text;
        EXPECT_FALSE(value.ipv4()) << text;
        EXPECT_EQ(value.family(), 10);
        EXPECT_EQ(value.sockaddrsize(), 28U);
        EXPECT_EQ(textOf(value), text);
        EXPECT_TRUE(isZeroFrom(value, 24)) << text;
    }
}

TEST(IPAddress, doesNotModifyTheParsedString)
{
    string const text("fe80::1");
    EXPECT_TRUE(ip_address(text).valid());
    EXPECT_EQ(fieldsOf(text).narrow, nullptr);
}

TEST(IPAddress, writesIPv6InShortForm)
{
    EXPECT_EQ(textOf(address("FE80:0:0:0:0:0:0:1")), "fe80::1");
    EXPECT_EQ(textOf(address("2001:0db8:0000:0000:0000:0000:0000:0001")), "2001:db8::1");
    EXPECT_EQ(textOf(address("::FFFF:0A00:0001")), "::ffff:10.0.0.1");
}

TEST(IPAddress, isInvalidForAnyOtherString)
{
    for (std::string const text : {"", " ", "host", "10.1.2.3:80", "10.1.2", "10.1.2.256",
             "10.1.2.3.4", " 10.1.2.3", "10.1.2.3 ", "10.1.2.3/24", "0x0A000001", "167772161",
             "[::1]", "fe80::1%eth0", "fe80::1/64", "::1::", ":", ":::", "1:2:3:4:5:6:7",
             "1:2:3:4:5:6:7:8:9", "12345::", "-1.0.0.0", "a.b.c.d", "\xC3\xA9", "\xFF"}) {
        SCOPED_TRACE(text);
        expectInvalid(address(text));
    }
    expectInvalid(ip_address(string(L"10.0.0.\u0661")));
    expectInvalid(address(std::string(100'000, '1')));
    expectInvalid(address(std::string(100'000, ':')));
}

TEST(IPAddress, copiesASocketAddressByItsFamilysLength)
{
    sockaddr_in const ipv4 = someIPv4();
    sockaddr_in6 const ipv6 = someIPv6();
    ip_address const fromIPv4(pointer(ipv4));
    ip_address const fromIPv6(pointer(ipv6));
    EXPECT_TRUE(beginsWith(fromIPv4, ipv4));
    EXPECT_TRUE(isZeroFrom(fromIPv4, sizeof ipv4));
    EXPECT_EQ(textOf(fromIPv4), "10.0.0.1");
    EXPECT_TRUE(beginsWith(fromIPv6, ipv6));
    EXPECT_TRUE(isZeroFrom(fromIPv6, sizeof ipv6));
    EXPECT_EQ(textOf(fromIPv6), "fe80::1");
}

TEST(IPAddress, isInvalidForASocketAddressOfAnotherFamily)
{
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    expectInvalid(ip_address(pointer(local)));
    ::sockaddr none{};
    for (int const family : {AF_UNSPEC, AF_PACKET, int{ip_address::AF_INVALID}, 0xFFFF}) {
        none.sa_family = static_cast<sa_family_t>(family);
        expectInvalid(ip_address(pointer(none)));
    }
    expectInvalid(ip_address(static_cast<::sockaddr const*>(nullptr)));
}

TEST(IPAddress, copiesAStructureWithoutCheckingItsFamily)
{
    sockaddr_in ipv4 = someIPv4();
    EXPECT_TRUE(beginsWith(ip_address(ipv4), ipv4));
    ipv4.sin_family = AF_UNIX;
    ip_address const odd(ipv4);
    EXPECT_TRUE(beginsWith(odd, ipv4));
    EXPECT_EQ(odd.family(), AF_UNIX);
    EXPECT_FALSE(odd.valid());

    sockaddr_in6 ipv6 = someIPv6();
    EXPECT_TRUE(beginsWith(ip_address(ipv6), ipv6));
    ipv6.sin6_family = AF_INET;
    ip_address const misnamed(ipv6);
    EXPECT_TRUE(beginsWith(misnamed, ipv6));
    EXPECT_TRUE(misnamed.ipv4());
}

TEST(IPAddress, copiesAStorageAndMarksOtherFamiliesInvalid)
{
    sockaddr_storage storage;
    std::memset(&storage, 0x5A, sizeof storage);
    for (int const family : {AF_INET, AF_INET6}) {
        storage.ss_family = static_cast<sa_family_t>(family);
        EXPECT_TRUE(beginsWith(ip_address(storage), storage)) << family;
    }
    for (int const family : {AF_UNSPEC, AF_UNIX, AF_PACKET, 0xFFFF}) {
        storage.ss_family = static_cast<sa_family_t>(family);
        sockaddr_storage expected = storage;
        expected.ss_family = ip_address::AF_INVALID;
        ip_address const value(storage);
        EXPECT_TRUE(beginsWith(value, expected)) << family;
        expectInvalid(value);
    }
}

TEST(IPAddress, convertsIPv4ToAnIntegerInEitherByteOrder)
{
    ip_address const value = address("10.0.0.1");
    EXPECT_EQ(value.ipv4AsInteger(HOST_ORDER), 0x0A000001U);
    EXPECT_EQ(value.ipv4AsInteger(NETWORK_ORDER), htonl(0x0A000001));
    EXPECT_EQ(value.ipv4AsInteger(NO_ORDER), 0xFFFFFFFFU);
    EXPECT_EQ(address("fe80::1").ipv4AsInteger(HOST_ORDER), 0xFFFFFFFFU);
    EXPECT_EQ(address("::ffff:10.0.0.1").ipv4AsInteger(NETWORK_ORDER), 0xFFFFFFFFU);
}

TEST(IPAddress, isConstructedFromAnIntegerInEitherByteOrder)
{
    EXPECT_EQ(textOf(ip_address::fromIPv4Integer(0x0A000001, HOST_ORDER)), "10.0.0.1");
    EXPECT_EQ(textOf(ip_address::fromIPv4Integer(htonl(0x0A000001), NETWORK_ORDER)), "10.0.0.1");
    EXPECT_EQ(textOf(ip_address::fromIPv4Integer(0x0A000001, NO_ORDER)), "0.0.0.0");
    EXPECT_EQ(textOf(ip_address::fromIPv4Integer(0xFFFFFFFF, HOST_ORDER)), "255.255.255.255");
    EXPECT_TRUE(isZeroFrom(ip_address::fromIPv4Integer(0x0A000001, HOST_ORDER), 8));
}

TEST(IPAddressEquality, comparesOnlyTheAddress)
{
    EXPECT_TRUE(address("10.0.0.1").isEqual(ip_address(someIPv4())));
    EXPECT_TRUE(address("fe80::1").isEqual(ip_address(someIPv6())));
    EXPECT_FALSE(address("10.0.0.1").isEqual(address("10.0.0.2")));
    EXPECT_FALSE(address("fe80::1").isEqual(address("fe80::1:1")));
    EXPECT_FALSE(address("10.0.0.1").isEqual(address("::ffff:10.0.0.1")));
    EXPECT_FALSE(address("0.0.0.0").isEqual(address("::")));
}

TEST(IPAddressEquality, isFalseForInvalidAddressesKept)
{
    ip_address const none = address("");
    EXPECT_FALSE(none.isEqual(none));
    EXPECT_FALSE(none.isEqual(address("x")));
    EXPECT_FALSE(none.isEqual(ip_address()));
    EXPECT_FALSE(ip_address().isEqual(none));
}

TEST(IPAddressOrder, sortsInvalidThenIPv4ThenIPv6)
{
    std::vector<ip_address> const ordered{address(""), address("0.0.0.0"), address("1.2.3.255"),
        address("::"), address("::1"), address("ff00::")};
    for (size_t i = 0; i < ordered.size(); ++i)
        for (size_t j = 0; j < ordered.size(); ++j)
            EXPECT_EQ(ordered[i].isLess(ordered[j]), i < j) << i << ' ' << j;
    EXPECT_FALSE(address("x").isLess(address("y")));
}

TEST(IPAddressOrder, comparesIPv4FromTheLastOctetKept)
{
    EXPECT_TRUE(address("192.168.0.1").isLess(address("10.0.0.2")));
    EXPECT_FALSE(address("10.0.0.2").isLess(address("192.168.0.1")));
    EXPECT_TRUE(address("255.0.0.0").isLess(address("0.1.0.0")));
    EXPECT_TRUE(address("0.0.0.127").isLess(address("0.0.0.128")));
}

TEST(IPAddressOrder, comparesIPv6ByUnsignedBytesFromTheFirst)
{
    EXPECT_TRUE(address("7fff::").isLess(address("8000::")));
    EXPECT_TRUE(address("1::ff").isLess(address("2::")));
    EXPECT_TRUE(address("::1").isLess(address("::2")));
    EXPECT_FALSE(address("fe80::1").isLess(ip_address(someIPv6())));
    EXPECT_FALSE(ip_address(someIPv6()).isLess(address("fe80::1")));
}

TEST(IPAddressOrder, isAStrictWeakOrder)
{
    testkit::expectStrictWeakOrder(
        testkit::randomAddresses(3000), [](ip_address const& a, ip_address const& b) {
            return a.isEqual(b) || (!a.valid() && !b.valid());
        });
}

TEST(IPAddress, roundTripsThroughItsStringAndItsInteger)
{
    for (ip_address const& value : testkit::randomAddresses(3000)) {
        if (!value.valid())
            continue;
        ip_address const again(value.toStringInternal());
        EXPECT_TRUE(again.isEqual(value)) << textOf(value);
        EXPECT_EQ(textOf(again), textOf(value));
        if (value.ipv4()) {
            for (auto const order : {HOST_ORDER, NETWORK_ORDER})
                EXPECT_TRUE(
                    ip_address::fromIPv4Integer(value.ipv4AsInteger(order), order).isEqual(value));
        }
    }
}

TEST(IPAddress, copiesEveryByte)
{
    ip_address const original(someIPv6());
    ip_address const copy = original;
    ip_address assigned;
    assigned = original;
    EXPECT_TRUE(beginsWith(copy, original.sockaddr()));
    EXPECT_TRUE(beginsWith(assigned, original.sockaddr()));
}

TEST(IPAddress, canBePassedToSocketCalls)
{
    int const receiver = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(receiver, 0);
    ip_address own = address("127.0.0.1");
    ASSERT_EQ(::bind(receiver, own.sockaddrPtr(), own.sockaddrsize()), 0);
    socklen_t size = sizeof own.sockaddr();
    ASSERT_EQ(::getsockname(receiver, own.sockaddrPtr(), &size), 0);
    EXPECT_EQ(size, own.sockaddrsize());

    int const sender = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_GE(sender, 0);
    ip_address const target = own;
    EXPECT_EQ(::sendto(sender, "x", 1, 0, target.sockaddrPtr(), target.sockaddrsize()), 1);
    char received = 0;
    EXPECT_EQ(::recv(receiver, &received, 1, 0), 1);
    EXPECT_EQ(received, 'x');
    ::close(sender);
    ::close(receiver);
}

TEST(InsertFunctor, ignoresAddressesByDefault)
{
    ip_address::InsertFunctor sink;
    sink.insert(address("10.0.0.1"));
    ip_address::InsertFunctor const copy = sink;
    EXPECT_NE(&copy, &sink);
}
