#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/plugin.h"
#include "tests/support/CapturedTrace.h"
#include "tests/sysinfo/null_object.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using dovrel::value_ptr;
using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;
using testkit::CapturedTrace;

namespace {

/** A host's derived class: counts its deletions and sets the last-error text. */
class Derived : public LinuxSystemInformation {
public:
    explicit Derived(int& deleted) : m_deleted(deleted) { m_lastError = L"disk caught fire"; }
    Derived(Derived const&) = delete;
    Derived& operator=(Derived const&) = delete;
    ~Derived() override { ++m_deleted; }

private:
    int& m_deleted;
};

/** Expects a false answer with the one reason, from a function whose name is in the scope. */
void expectNotAvailable(CapturedTrace const& trace, char const* scopeBegin)
{
    ASSERT_EQ(trace.lines().size(), 1U);
    EXPECT_EQ(trace.lines()[0].level, 1U);
    EXPECT_EQ(trace.lines()[0].line, "not available in this build\n");
    EXPECT_EQ(trace.lines()[0].scope.rfind(scopeBegin, 0), 0U) << trace.lines()[0];
}

}

TEST(LinuxSystemInformation, copiesItsLastErrorWithItself)
{
    int deleted = 0;
    Derived const original(deleted);
    value_ptr<SystemInformation> const copy(original.clone());
    ASSERT_TRUE(copy);
    EXPECT_NE(copy.get(), static_cast<SystemInformation const*>(&original));
    EXPECT_EQ(copy->getLastError(), dovrel::string(L"disk caught fire"));
    EXPECT_EQ(original.getLastError(), copy->getLastError());
}

TEST(LinuxSystemInformation, isDeletedByDestroyThroughItsVirtualDestructor)
{
    int deleted = 0;
    auto* const information = new Derived(deleted);
    information->LinuxSystemInformation::destroy();
    EXPECT_EQ(deleted, 1);
}

TEST(LinuxSystemInformation, isDestroyedByItsOwner)
{
    int deleted = 0;
    {
        value_ptr<SystemInformation> const owner(new Derived(deleted));
    }
    EXPECT_EQ(deleted, 1);
}

TEST(LinuxSystemInformation, isDeletedByTheClosingEntryThroughItsVirtualDestructor)
{
    int deleted = 0;
    libclose(new Derived(deleted));
    EXPECT_EQ(deleted, 1);
}

TEST(LinuxSystemInformation, doesNothingWhenANullOneIsDestroyedOrClosed)
{
    testkit::destroyNull<LinuxSystemInformation>();
    libclose(nullptr);
}

TEST(UnfinishedQueries, sayThatMemoryIsNotAvailable)
{
    CapturedTrace trace;
    uint64_t total = 1;
    uint64_t free = 2;
    EXPECT_FALSE(SystemInformation::create()->getMemoryInfo(total, free));
    EXPECT_EQ(total, 1U);
    EXPECT_EQ(free, 2U);
    expectNotAvailable(trace, "virtual bool sysinfo::UNIXSystemInformation::getMemoryInfo(");
}

TEST(UnfinishedQueries, sayThatRecoveryProgressIsNotAvailable)
{
    for (bool const before : {false, true}) {
        CapturedTrace trace;
        bool unavailable = before;
        EXPECT_FALSE(SystemInformation::create()->getCloneInfo(unavailable));
        EXPECT_TRUE(unavailable);
        expectNotAvailable(trace,
            "virtual dovrel::value_ptr<sysinfo::SystemInformation::CloneInfo> "
            "sysinfo::UNIXSystemInformation::getCloneInfo(");
    }
}

TEST(UnfinishedQueries, sayThatMountedDisksAreNotAvailable)
{
    CapturedTrace trace;
    std::vector<value_ptr<SystemInformation::DiskInfo>> disks(1);
    EXPECT_FALSE(SystemInformation::create()->getDisksInternal(disks));
    EXPECT_EQ(disks.size(), 1U);
    expectNotAvailable(trace, "virtual bool sysinfo::UNIXSystemInformation::getDisksInternal(");
}

TEST(UnfinishedQueries, sayThatPhysicalDisksAreNotAvailable)
{
    CapturedTrace trace;
    std::vector<value_ptr<SystemInformation::PhysicalDiskInfo>> disks(1);
    EXPECT_FALSE(SystemInformation::create()->getPhysicalDisksInternal(disks));
    EXPECT_EQ(disks.size(), 1U);
    expectNotAvailable(
        trace, "virtual bool sysinfo::LinuxSystemInformation::getPhysicalDisksInternal(");
}

TEST(UnfinishedQueries, sayThatNetworkAdaptersAreNotAvailable)
{
    CapturedTrace trace;
    std::vector<value_ptr<SystemInformation::NetworkInfo>> adapters(1);
    EXPECT_FALSE(SystemInformation::create()->getNetworksInternal(adapters));
    EXPECT_EQ(adapters.size(), 1U);
    expectNotAvailable(trace, "virtual bool sysinfo::LinuxSystemInformation::getNetworksInternal(");
}

TEST(UnfinishedQueries, sayThatTheSummaryIsNotAvailable)
{
    CapturedTrace trace;
    std::string vendor = "a";
    std::string product = "b";
    std::string version = "c";
    SystemInformation::HypervisorType hypervisor = SystemInformation::HYPERVISOR_XEN;
    EXPECT_FALSE(SystemInformation::create()->getSystemInfo(vendor, product, version, hypervisor));
    EXPECT_EQ(vendor + product + version, "abc");
    EXPECT_EQ(hypervisor, SystemInformation::HYPERVISOR_XEN);
    expectNotAvailable(trace, "virtual bool sysinfo::UNIXSystemInformation::getSystemInfo(");
}

TEST(UnfinishedQueries, areSilentWhereNothingIsTraced)
{
    CapturedTrace trace(0);
    bool unavailable = false;
    EXPECT_FALSE(SystemInformation::create()->getCloneInfo(unavailable));
    EXPECT_TRUE(trace.lines().empty());
}
