// The summary query with a host's own getsysinfo.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/NetworkMachine.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

using dovrel::string;
using sysinfo::SystemInformation;
using testkit::machine;

namespace {

using UNIXNetworkInfo = sysinfo::UNIXSystemInformation::UNIXNetworkInfo;
using Adapters = std::vector<dovrel::value_ptr<SystemInformation::NetworkInfo>>;

struct Summary {
    explicit Summary(SystemInformation const& service = sysinfo::LinuxSystemInformation())
    {
        known = service.getSystemInfo(vendor, product, version, hypervisor);
    }

    bool known = false;
    std::string vendor = "untouched";
    std::string product = "untouched";
    std::string version = "untouched";
    SystemInformation::HypervisorType hypervisor = SystemInformation::HYPERVISOR_PARALLELS;
};

/** A service whose adapter query is a function of the test. */
class ServiceWith : public sysinfo::LinuxSystemInformation {
public:
    explicit ServiceWith(std::function<bool(Adapters&)> list) : m_list(std::move(list)) { }

    bool getNetworksInternal(Adapters& adapters) const override
    {
        ++listed;
        return m_list(adapters);
    }

    mutable int listed = 0;

private:
    std::function<bool(Adapters&)> m_list;
};

void addAdapter(Adapters& adapters, std::vector<uint8_t> const& bytes)
{
    dovrel::macaddress_cpp mac;
    for (unsigned i = 0; i < bytes.size(); ++i)
        mac[i] = bytes[i];
    adapters.emplace_back(new UNIXNetworkInfo(string("eth0"), {}, mac, {}, {}, {}));
}

void addAzureAdapter(Adapters& adapters)
{
    addAdapter(adapters, {0x00, 0x0d, 0x3a, 0x12, 0x34, 0x56});
}

class SummaryQuery : public testing::Test {
protected:
    void identifyAs(int code, int result = 0)
    {
        host.identify = [=](char* vendor, char* product, char* version, int* out) {
            std::strcpy(vendor, "A vendor");
            std::strcpy(product, "A product");
            std::strcpy(version, "A version");
            *out = code;
            return result;
        };
    }

    /** @return the hypervisor for @p code on a machine without adapters. */
    SystemInformation::HypervisorType typeOf(int code)
    {
        identifyAs(code);
        return Summary().hypervisor;
    }

    testkit::FakeHost host;
};

class SummarysFirstAdapter : public SummaryQuery { };

}

TEST_F(SummaryQuery, returnsTheThreeStringsAndTheCode)
{
    identifyAs(4);
    Summary const summary;
    EXPECT_TRUE(summary.known);
    EXPECT_EQ(summary.vendor, "A vendor");
    EXPECT_EQ(summary.product, "A product");
    EXPECT_EQ(summary.version, "A version");
    EXPECT_EQ(summary.hypervisor, SystemInformation::HYPERVISOR_KVM);
    EXPECT_EQ(host.identifications, 1);
}

TEST_F(SummaryQuery, mapsUnknownCodesToOther)
{
    for (int code = -1; code <= 13; ++code) {
        bool const isKnown = code >= 0 && code <= 11;
        EXPECT_EQ(typeOf(code), isKnown ? code : 8) << code;
    }
    for (int const code : {INT_MIN, -2, 255, 256, 0x10000, INT_MAX})
        EXPECT_EQ(typeOf(code), SystemInformation::HYPERVISOR_OTHER) << code;
}

TEST_F(SummaryQuery, setsItsOutputsWhenGetsysinfoFails)
{
    for (int const result : {-1, 1, 77}) {
        identifyAs(3, result);
        Summary const summary;
        EXPECT_FALSE(summary.known);
        EXPECT_EQ(summary.vendor, "A vendor");
        EXPECT_EQ(summary.hypervisor, SystemInformation::HYPERVISOR_XEN);
    }
}

TEST_F(SummaryQuery, returnsEmptyStringsWhenGetsysinfoWritesNothing)
{
    Summary const summary;
    EXPECT_FALSE(summary.known);
    EXPECT_EQ(summary.vendor + summary.product + summary.version, "");
    EXPECT_EQ(summary.hypervisor, SystemInformation::HYPERVISOR_NONE);
}

TEST_F(SummaryQuery, acceptsFullBuffersWithoutATerminator)
{
    host.identify = [](char* vendor, char* product, char* version, int* code) {
        std::memset(vendor, 'a', 48);
        std::memset(product, 'b', 47);
        product[47] = '\0';
        std::memset(version, 0, 48);
        *code = 0;
        return 0;
    };
    Summary const summary;
    EXPECT_EQ(summary.vendor, std::string(48, 'a'));
    EXPECT_EQ(summary.product, std::string(47, 'b'));
    EXPECT_EQ(summary.version, "");
}

TEST_F(SummarysFirstAdapter, hasAnAzureAddressPrefixOnAzure)
{
    for (int const code : {0, 2, 8, 11, -1}) {
        identifyAs(code);
        ServiceWith const service([](Adapters& adapters) {
            addAzureAdapter(adapters);
            return true;
        });
        Summary const summary(service);
        EXPECT_TRUE(summary.known);
        EXPECT_EQ(summary.hypervisor, SystemInformation::HYPERVISOR_AZURE) << code;
        EXPECT_EQ(service.listed, 1);
    }
}

TEST_F(SummarysFirstAdapter, isTheOnlyAdapterThatCountsKept)
{
    identifyAs(2);
    Summary const summary(ServiceWith([](Adapters& adapters) {
        addAdapter(adapters, {0x02, 0, 0, 0, 0, 1});
        addAzureAdapter(adapters);
        return true;
    }));
    EXPECT_EQ(summary.hypervisor, SystemInformation::HYPERVISOR_HYPERV);
}

TEST_F(SummarysFirstAdapter, isTheFirstThatIsNotNull)
{
    identifyAs(2);
    Summary const first(ServiceWith([](Adapters& adapters) {
        adapters.resize(2);
        addAzureAdapter(adapters);
        return true;
    }));
    EXPECT_EQ(first.hypervisor, SystemInformation::HYPERVISOR_AZURE);
    Summary const second(ServiceWith([](Adapters& adapters) {
        adapters.resize(1);
        addAdapter(adapters, {0x02, 0, 0, 0, 0, 1});
        addAzureAdapter(adapters);
        return true;
    }));
    EXPECT_EQ(second.hypervisor, SystemInformation::HYPERVISOR_HYPERV);
    Summary const none(ServiceWith([](Adapters& adapters) {
        adapters.resize(3);
        return true;
    }));
    EXPECT_EQ(none.hypervisor, SystemInformation::HYPERVISOR_HYPERV);
}

TEST_F(SummarysFirstAdapter, keepsTheHypervisorWithAnyOtherAddress)
{
    identifyAs(2);
    std::vector<std::vector<uint8_t>> const others{{}, {0x00, 0x0d, 0x3b}, {0x00, 0x0d},
        {0x01, 0x0d, 0x3a}, {0x00, 0x00, 0x0d, 0x3a}, {0, 0, 0, 0x00, 0x0d, 0x3a},
        {0, 0, 0, 0, 0, 0x00, 0x0d, 0x3a}};
    for (auto const& bytes : others) {
        Summary const summary(ServiceWith([&](Adapters& adapters) {
            addAdapter(adapters, bytes);
            return true;
        }));
        EXPECT_EQ(summary.hypervisor, SystemInformation::HYPERVISOR_HYPERV) << bytes.size();
    }
}

TEST_F(SummarysFirstAdapter, countsWhenTheAdapterQueryReturnsFalse)
{
    identifyAs(2);
    Summary const summary(ServiceWith([](Adapters& adapters) {
        addAzureAdapter(adapters);
        return false;
    }));
    EXPECT_TRUE(summary.known);
    EXPECT_EQ(summary.hypervisor, SystemInformation::HYPERVISOR_AZURE);
}

TEST_F(SummarysFirstAdapter, keepsTheHypervisorWhenTheListIsEmpty)
{
    identifyAs(2);
    for (bool const known : {false, true}) {
        Summary const summary(ServiceWith([=](Adapters&) { return known; }));
        EXPECT_TRUE(summary.known);
        EXPECT_EQ(summary.hypervisor, SystemInformation::HYPERVISOR_HYPERV);
    }
}

TEST_F(SummarysFirstAdapter, passesAnExceptionOfTheAdapterQueryToTheCaller)
{
    /** Counts live objects. */
    class Counted : public UNIXNetworkInfo {
    public:
        explicit Counted(int& alive) : m_alive(alive) { ++m_alive; }
        Counted(Counted const&) = delete;
        Counted& operator=(Counted const&) = delete;
        ~Counted() override { --m_alive; }

    private:
        int& m_alive;
    };
    identifyAs(2);
    int alive = 0;
    ServiceWith const service([&](Adapters& adapters) -> bool {
        adapters.emplace_back(new Counted(alive));
        throw std::out_of_range("a short line");
    });
    std::string vendor;
    std::string product;
    std::string version;
    auto hypervisor = SystemInformation::HYPERVISOR_NONE;
    EXPECT_THROW(service.getSystemInfo(vendor, product, version, hypervisor), std::out_of_range);
    EXPECT_EQ(alive, 0);
    EXPECT_EQ(vendor, "A vendor");
    EXPECT_EQ(hypervisor, SystemInformation::HYPERVISOR_HYPERV);
}

TEST(SummaryOfAMachine, isAzureByTheFirstAdapterOfIfconfig)
{
    testkit::NetworkMachine net;
    net.host.identify = [](char*, char*, char*, int* code) {
        *code = 2;
        return 0;
    };
    std::string const azure = "        ether 00:0D:3A:12:34:56\n";
    std::string const other = "        ether 00:15:5d:12:34:56\n";
    net.ifconfigPrints("eth0: x\n" + azure + "lo: x\n");
    EXPECT_EQ(Summary().hypervisor, SystemInformation::HYPERVISOR_AZURE);
    net.ifconfigPrints("eth0: x\n" + other + "eth1: x\n" + azure + "lo: x\n");
    EXPECT_EQ(Summary().hypervisor, SystemInformation::HYPERVISOR_HYPERV);
    net.ifconfigPrints("eth0: x\n" + azure + "lo: x\n");
    machine.remove("/sbin/route");
    EXPECT_EQ(Summary().hypervisor, SystemInformation::HYPERVISOR_HYPERV);
}

TEST(SummaryOfAMachine, throwsOnAShortNameServerLine)
{
    testkit::NetworkMachine net;
    net.ifconfigPrints("eth0: x\nlo: x\n");
    net.resolverText("nameserver\n");
    EXPECT_THROW(Summary(), std::out_of_range);
}
