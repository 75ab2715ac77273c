#include "common/platform/getsysinfo.h"
#include "sysinfo/SystemInformation.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstring>

// The host's own function, which has the name of the library's weak one.
extern "C" int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    std::strcpy(vendor, "Host vendor");
    std::strcpy(product, "Host product");
    std::strcpy(version, "Host version");
    *code = 8;
    return 0;
}

namespace {

using Identify = decltype(&getsysinfo);

/** A host with a service object, so that the library is loaded. */
class HostGetsysinfo : public testing::Test {
protected:
    dovrel::value_ptr<sysinfo::SystemInformation> const m_information =
        sysinfo::SystemInformation::create();
};

/** @return a dlopen(3) handle of the library under test; this program is linked to it. */
void* sysinfoLibrary()
{
    Dl_info info{};
    if (!dladdr(dlsym(RTLD_DEFAULT, "libopen"), &info))
        return nullptr;
    return dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
}

TEST_F(HostGetsysinfo, isFoundBeforeTheLibrarysWeakFunction)
{
    auto const found = reinterpret_cast<Identify>(dlsym(RTLD_DEFAULT, "getsysinfo"));
    EXPECT_EQ(found, &getsysinfo);
    char vendor[DOVREL_GETSYSINFO_TEXT_SIZE];
    char product[DOVREL_GETSYSINFO_TEXT_SIZE];
    char version[DOVREL_GETSYSINFO_TEXT_SIZE];
    int code = 0;
    ASSERT_EQ(found(vendor, product, version, &code), 0);
    EXPECT_STREQ(vendor, "Host vendor");
    EXPECT_STREQ(product, "Host product");
    EXPECT_STREQ(version, "Host version");
    EXPECT_EQ(code, 8);
}

TEST_F(HostGetsysinfo, leavesTheLibrarysWeakFunctionInPlace)
{
    void* const library = sysinfoLibrary();
    ASSERT_NE(library, nullptr);
    auto const weak = reinterpret_cast<Identify>(dlsym(library, "getsysinfo"));
    dlclose(library);
    ASSERT_NE(weak, nullptr);
    EXPECT_NE(weak, &getsysinfo);
}

}
