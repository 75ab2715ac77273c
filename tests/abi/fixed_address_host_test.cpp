// A host that is linked at a fixed address. The dynamic linker copies the library's data into such
// a program (a copy relocation), and the library must use the copy.
//
// Linked twice: with the library's symbol versions and without any, as with a library that has
// none.

#include "common/basic/processstream/src/process_exception.h"
#include "common/basic/wide_string.h"
#include "common/platform/getsysinfo.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/plugin.h"
#include "tests/abi/ElfFile.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <cstring>

using sysinfo::SystemInformation;

namespace {

constexpr size_t ROOM = 64;
void const* initializedMutexes[ROOM];
size_t initializedMutexCount;

bool isInitialized(pthread_mutex_t const& mutex)
{
    for (size_t i = 0; i < initializedMutexCount; ++i)
        if (initializedMutexes[i] == &mutex)
            return true;
    return false;
}

/** The mutex is the last member of a cache. */
template <class Cache> pthread_mutex_t const& mutexOf(Cache& cache)
{
    static_assert(sizeof cache.mutex == sizeof(pthread_mutex_t));
    return reinterpret_cast<pthread_mutex_t const&>(cache.mutex);
}

/** @return whether this program contains a copy of the library's object. */
bool isCopied(void const* object)
{
    Dl_info inside{};
    Dl_info program{};
    return dladdr(object, &inside) && dladdr(&initializedMutexCount, &program)
        && inside.dli_fbase == program.dli_fbase;
}

class HostInformation final : public sysinfo::LinuxSystemInformation {
public:
    dovrel::string getLastError() const override { return L"the host's"; }
    /** Runs no tool. */
    bool getNetworksInternal(std::vector<dovrel::value_ptr<NetworkInfo>>&) const override
    {
        return true;
    }
};

ElfFile const& program()
{
    static ElfFile const file("/proc/self/exe");
    return file;
}

}

// Replaces the library's weak function. A program's own symbols have no version.
extern "C" int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    std::strcpy(vendor, "Host vendor");
    std::strcpy(product, "Host product");
    std::strcpy(version, "Host version");
    *code = SystemInformation::HYPERVISOR_XEN;
    return 0;
}

// The library constructs its caches before this program's own objects.
extern "C" __attribute__((visibility("default"))) int pthread_mutex_init(
    pthread_mutex_t* mutex, pthread_mutexattr_t const*) noexcept
{
    std::memset(mutex, 0, sizeof *mutex);
    if (initializedMutexCount < ROOM)
        initializedMutexes[initializedMutexCount++] = mutex;
    return 0;
}

TEST(FixedAddressHost, needsTheVersionsThatItWasLinkedWith)
{
    auto const needed = program().neededVersions();
    EXPECT_EQ(std::count(needed.begin(), needed.end(), "DOVREL_1"), LINKED_WITH_VERSIONS);
}

TEST(FixedAddressHost, replacesTheLibrarysFunctionWithOneThatHasNoVersion)
{
    auto const symbols = program().dynamicSymbols();
    auto const own = std::find_if(symbols.begin(), symbols.end(),
        [](auto const& symbol) { return symbol.name == "getsysinfo"; });
    ASSERT_NE(own, symbols.end());
    EXPECT_EQ(own->version, "");

    HostInformation const information;
    std::string vendor;
    std::string product;
    std::string version;
    auto hypervisor = SystemInformation::HYPERVISOR_NONE;
    ASSERT_TRUE(information.getSystemInfo(vendor, product, version, hypervisor));
    EXPECT_EQ(vendor, "Host vendor");
    EXPECT_EQ(product, "Host product");
    EXPECT_EQ(version, "Host version");
    EXPECT_EQ(hypervisor, SystemInformation::HYPERVISOR_XEN);
}

TEST(FixedAddressHost, callsTheEntriesThatItIsLinkedWith)
{
    SystemInformation* const information = libopen();
    ASSERT_NE(information, nullptr);
    EXPECT_EQ(information->getLastError(), dovrel::string());
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "libopen"), reinterpret_cast<void*>(&libopen));
    libclose(information);
}

TEST(FixedAddressHost, sharesTheLibrarysCaches)
{
    ASSERT_TRUE(isCopied(&SystemInformation::m_diskCache))
        << "the program is not linked at a fixed address";
    EXPECT_TRUE(isInitialized(mutexOf(SystemInformation::m_diskCache)));
    EXPECT_TRUE(isInitialized(mutexOf(SystemInformation::m_fsCache)));
    EXPECT_TRUE(isInitialized(mutexOf(SystemInformation::m_cpuCache)));
    EXPECT_TRUE(isInitialized(mutexOf(SystemInformation::m_netCache)));
    EXPECT_TRUE(isInitialized(mutexOf(SystemInformation::m_memCache)));
}

TEST(FixedAddressHost, readsTheLibrarysMessages)
{
    EXPECT_STREQ(dovrel::ERRORS[dovrel::REASON_PIPE], "Failed to create pipe: ");
}

TEST(FixedAddressHost, canDeriveFromTheLibrarysClasses)
{
    HostInformation const own;
    SystemInformation const& information = own;
    EXPECT_EQ(information.getLastError(), dovrel::string(L"the host's"));
    dovrel::value_ptr<SystemInformation> const copy(information.clone());
    EXPECT_NE(dynamic_cast<sysinfo::LinuxSystemInformation*>(copy.get()), nullptr);
}

TEST(FixedAddressHost, canCatchTheLibrarysExceptions)
{
    auto const made = dovrel::ProcessException::deserialize("1 2 3");
    EXPECT_THROW(throw made, dovrel::ProcessException);
    EXPECT_THROW(throw made, std::exception);
}
