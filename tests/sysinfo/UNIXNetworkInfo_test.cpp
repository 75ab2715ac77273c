#include "sysinfo/UNIXSystemInformation.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/null_object.h"

#include <gtest/gtest.h>

#include <locale>
#include <string>
#include <vector>

using dovrel::ip_address;
using dovrel::string;
using dovrel::value_ptr;
using sysinfo::SystemInformation;
using UNIXNetworkInfo = sysinfo::UNIXSystemInformation::UNIXNetworkInfo;

namespace {

std::string converted(std::string const& mask)
{
    return narrow(UNIXNetworkInfo::convertMask(string(mask)));
}

std::vector<ip_address> addresses(std::vector<std::string> const& texts)
{
    std::vector<ip_address> made;
    for (std::string const& text : texts)
        made.emplace_back(string(text));
    return made;
}

dovrel::macaddress_cpp mac()
{
    dovrel::macaddress_cpp made;
    unsigned i = 0;
    for (uint8_t const byte : std::vector<uint8_t>{0x00, 0x0c, 0x29, 0xaa, 0xbb, 0xcc})
        made[i++] = byte;
    return made;
}

UNIXNetworkInfo someAdapter()
{
    return UNIXNetworkInfo(string("eth0"), string("machine"), mac(),
        addresses({"10.0.0.5", "fe80::20c:29ff:feaa:bbcc"}), {string("255.255.255.0")},
        addresses({"10.0.0.1", "x"}));
}

void expectSomeAdapter(SystemInformation::NetworkInfo const& adapter)
{
    EXPECT_EQ(adapter.getName(), string("eth0"));
    EXPECT_EQ(adapter.getHostname(), string("machine"));
    EXPECT_TRUE(adapter.getMACAddr() == mac());
    ASSERT_EQ(adapter.getIPAddrs().size(), 2U);
    EXPECT_EQ(narrow(adapter.getIPAddrs()[0].toStringInternal()), "10.0.0.5");
    EXPECT_EQ(narrow(adapter.getIPAddrs()[1].toStringInternal()), "fe80::20c:29ff:feaa:bbcc");
    EXPECT_EQ(adapter.getNetmasks(), std::vector<string>{string("255.255.255.0")});
    ASSERT_EQ(adapter.getDNSAddrs().size(), 2U);
    EXPECT_EQ(narrow(adapter.getDNSAddrs()[0].toStringInternal()), "10.0.0.1");
    EXPECT_FALSE(adapter.getDNSAddrs()[1].valid());
    EXPECT_TRUE(adapter.getGatewayAddrs().empty());
}

/** A host's number format that groups digits. */
class GroupedByOne : public std::numpunct<wchar_t> {
    std::string do_grouping() const override { return "\1"; }
    wchar_t do_thousands_sep() const override { return L'a'; }
};

class CountedAdapter : public UNIXNetworkInfo {
public:
    explicit CountedAdapter(int& deleted) : m_deleted(deleted) { }
    CountedAdapter(CountedAdapter const&) = delete;
    CountedAdapter& operator=(CountedAdapter const&) = delete;
    ~CountedAdapter() override { ++m_deleted; }

private:
    int& m_deleted;
};

}

TEST(NetworkAdapter, isEmptyByDefault)
{
    UNIXNetworkInfo const adapter;
    EXPECT_TRUE(adapter.getName().empty());
    EXPECT_TRUE(adapter.getHostname().empty());
    EXPECT_TRUE(adapter.getMACAddr() == dovrel::macaddress_cpp());
    EXPECT_TRUE(adapter.getIPAddrs().empty());
    EXPECT_TRUE(adapter.getNetmasks().empty());
    EXPECT_TRUE(adapter.getDNSAddrs().empty());
    EXPECT_TRUE(adapter.getGatewayAddrs().empty());
    EXPECT_EQ(narrow(adapter.toString()), " (00:00:00:00:00:00:00:00) [] []");
}

TEST(NetworkAdapter, returnsItsConstructorArguments)
{
    expectSomeAdapter(someAdapter());
}

TEST(NetworkAdapter, returnsCopies)
{
    UNIXNetworkInfo const adapter = someAdapter();
    adapter.getIPAddrs().clear();
    adapter.getNetmasks().clear();
    adapter.getDNSAddrs().clear();
    adapter.getGatewayAddrs().emplace_back();
    adapter.getName() = L"other";
    expectSomeAdapter(adapter);
}

TEST(NetworkAdapter, toStringWritesNameAddressesAndMasks)
{
    EXPECT_EQ(narrow(someAdapter().toString()),
        "eth0 (00:0c:29:aa:bb:cc:00:00) [10.0.0.5,fe80::20c:29ff:feaa:bbcc] [255.255.255.0]");
}

TEST(NetworkAdapter, toStringWritesInvalidAddressesAsInvalid)
{
    UNIXNetworkInfo const adapter(string("lo"), string("m"), {}, addresses({"", "127.0.0.1", "x"}),
        {string("255.0.0.0"), string("nonsense"), string()}, {});
    EXPECT_EQ(narrow(adapter.toString()),
        "lo (00:00:00:00:00:00:00:00) [<invalid>,127.0.0.1,<invalid>] [255.0.0.0,nonsense,]");
}

TEST(NetworkAdapter, cloneCopiesEveryField)
{
    value_ptr<SystemInformation::NetworkInfo> copy;
    {
        UNIXNetworkInfo const original = someAdapter();
        copy = value_ptr<SystemInformation::NetworkInfo>(original.clone());
        EXPECT_NE(copy.get(), &original);
    }
    expectSomeAdapter(*copy);
    EXPECT_NE(dynamic_cast<UNIXNetworkInfo const*>(copy.get()), nullptr);
}

TEST(NetworkAdapter, destroyCallsTheVirtualDestructor)
{
    int deleted = 0;
    (new CountedAdapter(deleted))->UNIXNetworkInfo::destroy();
    EXPECT_EQ(deleted, 1);
    testkit::destroyNull<UNIXNetworkInfo>();
}

TEST(NetworkAdapter, isDestroyedByValuePtr)
{
    int deleted = 0;
    {
        value_ptr<SystemInformation::NetworkInfo> const owner(new CountedAdapter(deleted));
    }
    EXPECT_EQ(deleted, 1);
}

TEST(Netmask, convertsAHexadecimalNumberToDottedForm)
{
    EXPECT_EQ(converted("0xffffff00"), "255.255.255.0");
    EXPECT_EQ(converted("ffffff00"), "255.255.255.0");
    EXPECT_EQ(converted("0xFFFFFF00"), "255.255.255.0");
    EXPECT_EQ(converted("FfFf0000"), "255.255.0.0");
    EXPECT_EQ(converted("0"), "0.0.0.0");
    EXPECT_EQ(converted("0x0"), "0.0.0.0");
    EXPECT_EQ(converted("ffffffff"), "255.255.255.255");
    EXPECT_EQ(converted("00000000ff000000"), "255.0.0.0");
    EXPECT_EQ(converted("0xff000000 (255.0.0.0)"), "255.0.0.0");
    EXPECT_EQ(converted("0xff.0"), "0.0.0.255");
}

TEST(Netmask, readsDecimalDigitsAsHexadecimalKept)
{
    EXPECT_EQ(converted("24"), "0.0.0.36");
    EXPECT_EQ(converted("8"), "0.0.0.8");
    EXPECT_EQ(converted("255"), "0.0.2.85");
}

TEST(Netmask, keepsOtherText)
{
    for (std::string const mask : {"255.255.255.0", "0.0.0.0", "255.255.0xff.0", "nonsense", "24 ",
             " 24", "ffffff0g", "0Xffffff00", "-1", "+ff", "ff:ff"})
        EXPECT_EQ(converted(mask), mask);
    EXPECT_EQ(UNIXNetworkInfo::convertMask(string(L"\u0661")), string(L"\u0661"));
}

TEST(Netmask, keepsPrefixesWithoutDigitsAndNumbersBeyond32Bits)
{
    for (std::string const mask :
        {"", "0x", "0xg", "0x ", "100000000", "0x100000000", "fffffffffffffffffffffffff"})
        EXPECT_EQ(converted(mask), mask);
}

TEST(Netmask, ignoresTheHostsNumberFormat)
{
    std::locale const former = std::locale::global(std::locale(std::locale(), new GroupedByOne));
    std::string const text = converted("ffaa0000");
    std::locale::global(former);
    EXPECT_EQ(text, "255.170.0.0");
}
