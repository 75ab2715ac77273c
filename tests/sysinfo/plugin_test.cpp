// A host that loads the library at run time and does not link it.

#include "sysinfo/SystemInformation.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"
#include "tests/sysinfo/HostNames.h"

#include <dlfcn.h>

#include <gtest/gtest.h>

#include <pthread.h>

#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

using dovrel::value_ptr;
using sysinfo::SystemInformation;
using testkit::calls;
using testkit::machine;

namespace {

struct MutexEvent {
    bool made;
    void const* address;
};

std::vector<MutexEvent>& mutexEvents()
{
    static std::vector<MutexEvent> events;
    return events;
}

}

// Replace the C library's functions. Every cache has a mutex, so they record the construction and
// destruction of the caches.
extern "C" {

__attribute__((visibility("default"))) int pthread_mutex_init(
    pthread_mutex_t* mutex, pthread_mutexattr_t const*) noexcept
{
    std::memset(mutex, 0, sizeof *mutex);
    mutexEvents().push_back({true, mutex});
    return 0;
}

__attribute__((visibility("default"))) int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept
{
    mutexEvents().push_back({false, mutex});
    return 0;
}
}

namespace {

// SystemInformation's static members, in the order of their construction.
constexpr char const* CACHES[] = {
    "m_diskCache", "m_fsCache", "m_cpuCache", "m_netCache", "m_memCache"};

class Library {
public:
    explicit Library(int visibility = RTLD_LOCAL)
        : m_handle(::dlopen(DOVREL_LIBRARY, RTLD_NOW | visibility))
    {
        if (!m_handle)
            throw std::runtime_error(::dlerror());
    }
    Library(Library const&) = delete;
    Library& operator=(Library const&) = delete;
    ~Library() { ::dlclose(m_handle); }

    void* symbol(char const* name) const
    {
        void* const address = ::dlsym(m_handle, name);
        EXPECT_NE(address, nullptr) << name;
        return address;
    }

    char const* cache(char const* name) const
    {
        std::string const mangled = "_ZN7sysinfo17SystemInformation"
            + std::to_string(std::string(name).size()) + name + "E";
        return static_cast<char const*>(symbol(mangled.c_str()));
    }

    SystemInformation* open() const
    {
        return reinterpret_cast<SystemInformation* (*)()>(symbol("libopen"))();
    }

    void close(SystemInformation* information) const
    {
        reinterpret_cast<void (*)(SystemInformation*)>(symbol("libclose"))(information);
    }

private:
    void* m_handle;
};

bool isLoaded()
{
    void* const handle = ::dlopen(DOVREL_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    if (handle)
        ::dlclose(handle);
    return handle != nullptr;
}

/** @return the names of the caches that contain the mutexes, in the order of the mutexes. */
std::string cachesOf(
    std::vector<void const*> const& mutexes, std::vector<char const*> const& addresses)
{
    std::string names;
    for (void const* const mutex : mutexes)
        for (size_t i = 0; i < addresses.size(); ++i) {
            size_t const size = std::string(CACHES[i]) == "m_memCache"
                ? sizeof(SystemInformation::MemoryCache)
                : sizeof(SystemInformation::ListCache<SystemInformation::CPUInfo>);
            char const* const address = static_cast<char const*>(mutex);
            if (address >= addresses[i] && address < addresses[i] + size)
                names += std::string(CACHES[i]) + " ";
        }
    return names;
}

}

TEST(Plugin, constructsTheCachesInOrderAndDestroysThemInReverse)
{
    mutexEvents().clear();
    std::vector<char const*> addresses;
    size_t made = 0;
    {
        Library const library;
        made = mutexEvents().size();
        for (char const* name : CACHES)
            addresses.push_back(library.cache(name));
    }
    ASSERT_EQ(made, 5U);
    ASSERT_EQ(mutexEvents().size(), 10U);
    std::vector<void const*> inOrder;
    std::vector<void const*> destroyed;
    for (MutexEvent const& event : mutexEvents())
        (event.made ? inOrder : destroyed).push_back(event.address);
    EXPECT_EQ(
        cachesOf(inOrder, addresses), "m_diskCache m_fsCache m_cpuCache m_netCache m_memCache ");
    EXPECT_EQ(
        cachesOf(destroyed, addresses), "m_memCache m_netCache m_cpuCache m_fsCache m_diskCache ");
}

TEST(Plugin, destroysCachedRecordsWhenItIsUnloaded)
{
    mutexEvents().clear();
    machine.file("/proc/stat", "cpu0 1\n");
    {
        Library const library;
        using Cache = SystemInformation::ListCache<SystemInformation::CPUInfo>;
        auto* const cache =
            const_cast<Cache*>(reinterpret_cast<Cache const*>(library.cache("m_cpuCache")));
        EXPECT_EQ(cache->word, 0U);
        EXPECT_TRUE(cache->records.empty());
        SystemInformation* const information = library.open();
        EXPECT_TRUE(information->getCPUsInternal(cache->records));
        EXPECT_EQ(cache->records.size(), 1U);
        library.close(information);
    }
    EXPECT_EQ(mutexEvents().size(), 10U);
    EXPECT_FALSE(isLoaded());
}

TEST(Plugin, isUnloadedAfterUse)
{
    machine.file("/proc/stat", "cpu0 1 0 0 1\n");
    machine.file("/sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "1200000\n");
    EXPECT_FALSE(isLoaded());
    for (int round = 0; round < 2; ++round) {
        Library const library;
        EXPECT_TRUE(isLoaded());
        SystemInformation* const information = library.open();
        std::vector<value_ptr<SystemInformation::CPUInfo>> processors;
        EXPECT_TRUE(information->getCPUsInternal(processors));
        ASSERT_EQ(processors.size(), 1U);
        EXPECT_EQ(processors[0]->getCurrentSpeedInMHZ(), 1200U);
        library.close(information);
    }
    EXPECT_FALSE(isLoaded());
}

TEST(Plugin, isUnloadedAfterEveryQuery)
{
    machine.file("/proc/meminfo", "MemTotal: 8000000 kB\nMemFree: 3000000 kB\n");
    machine.file("/proc/partitions", "major minor  #blocks  name\n\n8 0 7 sda\n");
    machine.file("/proc/mounts", "/dev/sda / ext4 rw 0 0\n");
    machine.file("/dev/sda", "");
    machine.file("/etc/dovrel/status.ini", "[Main]\nStatus=1000\n");
    machine.file("/etc/resolv.conf", "nameserver 10.0.0.1\n");
    machine.tool("/usr/sbin/dmidecode", "exit 0");
    machine.tool("/sbin/ifconfig", "echo 'eth0: x'; echo 'lo: x'");
    machine.tool("/sbin/route", "exit 0");
    machine.tool("/bin/cat", "exec cat \"$@\"");
    machine.tool("/bin/grep", "exec grep \"$@\"");
    {
        Library const library;
        SystemInformation* const information = library.open();
        uint64_t total = 0;
        uint64_t free = 0;
        EXPECT_TRUE(information->getMemoryInfo(total, free));
        bool unavailable = true;
        EXPECT_TRUE(information->getCloneInfo(unavailable));
        std::vector<value_ptr<SystemInformation::DiskInfo>> mounts;
        EXPECT_TRUE(information->getDisksInternal(mounts));
        EXPECT_EQ(mounts.size(), 1U);
        std::vector<value_ptr<SystemInformation::NetworkInfo>> adapters;
        EXPECT_TRUE(information->getNetworksInternal(adapters));
        EXPECT_EQ(adapters.size(), 2U);
        std::string vendor;
        std::string product;
        std::string version;
        auto hypervisor = SystemInformation::HYPERVISOR_NONE;
        EXPECT_TRUE(information->getSystemInfo(vendor, product, version, hypervisor));
        library.close(information);
    }
    EXPECT_FALSE(isLoaded());
}

TEST(Plugin, isUnloadedWithoutUse)
{
    {
        Library const library;
    }
    EXPECT_FALSE(isLoaded());
}

TEST(Plugin, samplesTheLoadOverOneSecond)
{
    machine.file("/proc/stat", "cpu0 50 0 0 100 0 0 0\n");
    calls.onSleep([](int64_t) { machine.file("/proc/stat", "cpu0 60 0 0 170 0 0 0\n"); });
    Library const library;
    SystemInformation* const information = library.open();
    std::vector<value_ptr<SystemInformation::CPUInfo>> processors;
    ASSERT_TRUE(information->getCPUsInternal(processors));
    EXPECT_FLOAT_EQ(processors.at(0)->getCurrentUsage(), 12.5F);
    EXPECT_EQ(calls.sleeps(), std::vector<int64_t>{1'000'000});
    library.close(information);
}

TEST(Plugin, returnsIndependentObjects)
{
    Library const library;
    SystemInformation* const one = library.open();
    SystemInformation* const other = library.open();
    EXPECT_NE(one, other);
    library.close(one);
    SystemInformation* const copy = other->clone();
    library.close(other);
    EXPECT_NE(copy, nullptr);
    copy->destroy();
}

TEST(Plugin, libcloseIgnoresNull)
{
    Library const library;
    library.close(nullptr);
}

TEST(Plugin, usesItsOwnClassesWhenTheHostHasTheSameNames)
{
    machine.file("/proc/meminfo", "MemTotal: 8000 kB\nMemFree: 3000 kB\n");
    machine.tool("/sbin/dmidecode", "echo 'Memory Device'; printf '\\tSize: 16 MB\\n'");
    testkit::useHostClasses();
    testkit::takeHostCalls();
    Library const library(RTLD_GLOBAL);
    SystemInformation* const information = library.open();
    uint64_t total = 0;
    uint64_t free = 0;
    EXPECT_TRUE(information->getMemoryInfo(total, free));
    EXPECT_EQ(total, 16384U);
    library.close(information);
    EXPECT_EQ(testkit::takeHostCalls(), std::vector<std::string>());
}
