#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/plugin.h"
#include "tests/sysinfo/null_object.h"

#include <gtest/gtest.h>

using dovrel::value_ptr;
using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;

namespace {

/** A host's derived class: counts its deletions and sets the last error. */
class Derived : public LinuxSystemInformation {
public:
    explicit Derived(int& deleted) : m_deleted(deleted) { m_lastError = L"disk caught fire"; }
    Derived(Derived const&) = delete;
    Derived& operator=(Derived const&) = delete;
    ~Derived() override { ++m_deleted; }

private:
    int& m_deleted;
};

}

TEST(LinuxSystemInformation, cloneCopiesTheLastError)
{
    int deleted = 0;
    Derived const original(deleted);
    value_ptr<SystemInformation> const copy(original.clone());
    ASSERT_TRUE(copy);
    EXPECT_NE(copy.get(), static_cast<SystemInformation const*>(&original));
    EXPECT_EQ(copy->getLastError(), dovrel::string(L"disk caught fire"));
    EXPECT_EQ(original.getLastError(), copy->getLastError());
}

TEST(LinuxSystemInformation, destroyCallsTheVirtualDestructor)
{
    int deleted = 0;
    auto* const information = new Derived(deleted);
    information->LinuxSystemInformation::destroy();
    EXPECT_EQ(deleted, 1);
}

TEST(LinuxSystemInformation, isDestroyedByValuePtr)
{
    int deleted = 0;
    {
        value_ptr<SystemInformation> const owner(new Derived(deleted));
    }
    EXPECT_EQ(deleted, 1);
}

TEST(LinuxSystemInformation, libcloseCallsTheVirtualDestructor)
{
    int deleted = 0;
    libclose(new Derived(deleted));
    EXPECT_EQ(deleted, 1);
}

TEST(LinuxSystemInformation, destroyAndLibcloseIgnoreNullKept)
{
    testkit::destroyNull<LinuxSystemInformation>();
    libclose(nullptr);
}
