// Threads that the host cancels during a query, pthread_cancel(3). A pending request takes effect
// at the first cancellation point where cancellation is enabled.

#include "common/platform/CancellationBlock.h"
#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"
#include "tests/sysinfo/recovery_files.h"

#include <boost/filesystem.hpp>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/statvfs.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;
using testkit::calls;
using testkit::machine;

namespace {

using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;
using UNIXDiskInfo = sysinfo::UNIXSystemInformation::UNIXDiskInfo;
using LinuxPhysicalDiskInfo = LinuxSystemInformation::LinuxPhysicalDiskInfo;

/** A thread that runs a function and then reaches a cancellation point. */
class HostsThread {
public:
    explicit HostsThread(std::function<void()> work) : m_work(std::move(work)) { }

    /** Runs and joins the thread. @param isCancelled whether a request is pending at its start. */
    void run(bool isCancelled = true)
    {
        m_isCancelled = isCancelled;
        pthread_t thread{};
        ASSERT_EQ(::pthread_create(&thread, nullptr, &HostsThread::main, this), 0);
        void* result = nullptr;
        ASSERT_EQ(::pthread_join(thread, &result), 0);
        m_wasCancelled = result == PTHREAD_CANCELED;
    }

    bool hasDoneItsWork() const { return m_isDone; }
    bool wasCancelled() const { return m_wasCancelled; }

private:
    static void* main(void* object)
    {
        auto& self = *static_cast<HostsThread*>(object);
        if (self.m_isCancelled)
            ::pthread_cancel(::pthread_self());
        self.m_work();
        self.m_isDone = true;
        ::pthread_testcancel();
        return nullptr;
    }

    std::function<void()> m_work;
    bool m_isCancelled = false;
    std::atomic<bool> m_isDone{false};
    bool m_wasCancelled = false;
};

/** An operation and its result on the fake machine of these tests. */
struct Operation {
    char const* name;
    std::function<double()> run;
    double result;
};

template <class Record, class Query> double sizeOfList(Query query)
{
    std::vector<dovrel::value_ptr<Record>> list;
    return (LinuxSystemInformation().*query)(list) ? static_cast<double>(list.size()) : -1;
}

double totalMemory(std::function<bool(LinuxSystemInformation const&, uint64_t&)> const& query)
{
    uint64_t total = 0;
    return query(LinuxSystemInformation(), total) ? static_cast<double>(total) : -1;
}

double identify()
{
    std::string texts[3];
    auto hypervisor = SystemInformation::HYPERVISOR_NONE;
    return LinuxSystemInformation().getSystemInfo(texts[0], texts[1], texts[2], hypervisor)
        ? static_cast<double>(hypervisor)
        : -1;
}

double countIdle()
{
    unsigned idle = 0;
    unsigned busy = 0;
    return UNIXCPUInfo(0).readCounters(idle, busy) ? idle : -1;
}

std::vector<Operation> operations()
{
    using System = SystemInformation;
    using Linux = LinuxSystemInformation;
    auto const record = std::make_shared<UNIXDiskInfo>(
        L"/", std::vector<dovrel::value_ptr<System::PhysicalDiskInfo>>());
    return {
        {"getMemoryInfo of UNIX",
            [] {
                return totalMemory([](Linux const& system, uint64_t& total) {
                    uint64_t free = 0;
                    return system.UNIXSystemInformation::getMemoryInfo(total, free);
                });
            },
            7},
        {"getMemoryInfo of Linux",
            [] {
                return totalMemory([](Linux const& system, uint64_t& total) {
                    uint64_t free = 0;
                    return system.getMemoryInfo(total, free);
                });
            },
            512},
        {"getCloneInfo", [] { return testkit::pollRecovery()->getOperationProgress(); }, 73},
        {"getPhysicalDisksInternal",
            [] { return sizeOfList<System::PhysicalDiskInfo>(&Linux::getPhysicalDisksInternal); },
            1},
        {"getDisksInternal", [] { return sizeOfList<System::DiskInfo>(&Linux::getDisksInternal); },
            2},
        {"getCPUsInternal", [] { return sizeOfList<System::CPUInfo>(&Linux::getCPUsInternal); }, 1},
        {"getNetworksInternal",
            [] { return sizeOfList<System::NetworkInfo>(&Linux::getNetworksInternal); }, 2},
        {"getSystemInfo", identify, 11},
        {"getRootDevices",
            [] { return static_cast<double>(sysinfo::getRootDevices("/dev/dm-0").size()); }, 1},
        {"UNIXDiskInfo", [] { return UNIXDiskInfo(L"/", {}).getDiskSizeInBytes() > 0; }, 1},
        {"getDiskFreeInBytes", [=] { return record->getDiskFreeInBytes() > 0; }, 1},
        {"toString of UNIXDiskInfo", [=] { return record->toString().empty(); }, 0},
        {"LinuxPhysicalDiskInfo",
            [] { return LinuxPhysicalDiskInfo(L"sda", 1, 3).getDiskNumberOfPartitions(); }, 3},
        {"getMaxSpeedInMHZ", [] { return UNIXCPUInfo(0).getMaxSpeedInMHZ(); }, 2400},
        {"getCurrentSpeedInMHZ", [] { return UNIXCPUInfo(0).getCurrentSpeedInMHZ(); }, 1200},
        {"getCurrentUsage", [] { return UNIXCPUInfo(0).getCurrentUsage(); }, 25},
        {"toString of UNIXCPUInfo", [] { return UNIXCPUInfo(0).toString().empty(); }, 0},
        {"readCounters", countIdle, 100},
    };
}

void writeMachine()
{
    constexpr char DEVICES[] = "/sys/devices/system/cpu/cpu0/cpufreq/";
    machine.file(std::string(DEVICES) + "bios_limit", "2400000\n");
    machine.file(std::string(DEVICES) + "scaling_cur_freq", "1200000\n");
    machine.file("/proc/meminfo", "MemTotal: 7 kB\nMemFree: 3 kB\n");
    machine.tool("/usr/sbin/dmidecode", "printf 'Memory Device\\n\\tSize: 512 kB\\n'");
    machine.file("/proc/partitions", "major minor  #blocks  name\n\n 8 0 2 sda\n");
    machine.file("/dev/sda", "");
    machine.file("/dev/dm-0", "");
    machine.link("/dev/mapper/vg-root", "../dm-0");
    machine.tool("/sbin/pvdisplay", "echo /dev/mapper/vg:/dev/sda:");
    machine.file("/proc/mounts", "/dev/sda / ext4 rw 0 0\n/dev/dm-0 /data ext4 rw 0 0\n");
    machine.file(testkit::RECOVERY_STATUS, "[Main]\nStatus=5000\n");
    machine.file(testkit::RECOVERY_PERCENT, "73\n");
    machine.tool("/sbin/ifconfig", "printf 'eth0: x\\n  ether 00:0d:3a:12:34:56\\nlo: x\\n'");
    machine.tool("/sbin/route", "exit 0");
    machine.tool("/bin/cat", "exec cat \"$@\"");
    machine.tool("/usr/bin/grep", "exec grep \"$@\"");
    machine.file("/etc/resolv.conf", "nameserver 10.0.0.1\n");
    machine.file("/sys/class/dmi/id/sys_vendor", "Acme\n");
}

void showCounters(char const* busyAndIdle)
{
    machine.file("/proc/stat", "cpu0 0 0 " + std::string(busyAndIdle) + " 0 0 0\n");
}

class CancelledThread : public testing::Test {
protected:
    CancelledThread()
    {
        writeMachine();
        showCounters("50 100");
        calls.onSleep([](int64_t) { showCounters("75 175"); });
    }
};

}

TEST_F(CancelledThread, completesTheCurrentQueryAndThenEnds)
{
    for (Operation const& operation : operations()) {
        SCOPED_TRACE(operation.name);
        showCounters("50 100");
        ASSERT_EQ(operation.run(), operation.result);
        showCounters("50 100");
        testkit::DescriptorGuard const guard;
        double result = -2;
        HostsThread thread([&] { result = operation.run(); });
        thread.run();
        EXPECT_TRUE(thread.hasDoneItsWork()) << "the query was cancelled";
        EXPECT_EQ(result, operation.result);
        EXPECT_TRUE(thread.wasCancelled());
        testkit::expectNoChildren();
    }
}

TEST_F(CancelledThread, completesAQueryThatThrows)
{
    machine.file("/etc/resolv.conf", "nameserver\n");
    machine.remove("/dev/mapper");
    unsigned thrown = 0;
    HostsThread thread([&] {
        try {
            operations()[6].run();
        } catch (std::out_of_range const&) {
            ++thrown;
        }
        try {
            sysinfo::getRootDevices("/dev/dm-0");
        } catch (boost::filesystem::filesystem_error const&) {
            ++thrown;
        }
    });
    thread.run();
    EXPECT_EQ(thrown, 2U);
    EXPECT_TRUE(thread.wasCancelled());
}

TEST_F(CancelledThread, completesALoadSampleOf101Seconds)
{
    unsigned sleeps = 0;
    pthread_t sampler{};
    calls.onSleep([&](int64_t) {
        if (++sleeps == 2)
            ::pthread_cancel(sampler);
        ::pthread_testcancel();
        showCounters(sleeps < 101 ? "50 100" : "75 175");
    });
    float usage = 0;
    HostsThread thread([&] {
        sampler = ::pthread_self();
        usage = UNIXCPUInfo(0).getCurrentUsage();
    });
    thread.run(false);
    EXPECT_TRUE(thread.hasDoneItsWork());
    EXPECT_EQ(usage, 25.0F);
    EXPECT_EQ(sleeps, 101U);
    EXPECT_TRUE(thread.wasCancelled());
}

TEST_F(CancelledThread, endsAfterTheQueryWhenItsTypeIsAsynchronous)
{
    pthread_t sampler{};
    unsigned sleeps = 0;
    calls.onSleep([&](int64_t) {
        ++sleeps;
        ::pthread_cancel(sampler);
        showCounters("75 175");
    });
    HostsThread thread([&] {
        ::pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
        sampler = ::pthread_self();
        UNIXCPUInfo(0).getCurrentUsage();
    });
    thread.run(false);
    EXPECT_EQ(sleeps, 1U);
    // The C library does not report PTHREAD_CANCELED for a thread that ends as its state is
    // restored.
    EXPECT_FALSE(thread.hasDoneItsWork());
}

TEST_F(CancelledThread, keepsItsOwnCancelState)
{
    for (int const state : {PTHREAD_CANCEL_ENABLE, PTHREAD_CANCEL_DISABLE}) {
        for (Operation const& operation : operations()) {
            showCounters("50 100");
            int after = -1;
            HostsThread thread([&] {
                ::pthread_setcancelstate(state, nullptr);
                operation.run();
                ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &after);
            });
            thread.run(false);
            EXPECT_EQ(after, state) << operation.name;
        }
    }
}

TEST(CancellationBlock, delaysCancellationUntilTheOutermostBlockEnds)
{
    HostsThread thread([] {
        dovrel::CancellationBlock const outer;
        {
            dovrel::CancellationBlock const inner;
            ::pthread_testcancel();
        }
        ::pthread_testcancel();
    });
    thread.run();
    EXPECT_TRUE(thread.hasDoneItsWork());
    EXPECT_TRUE(thread.wasCancelled()) << "at the thread's own cancellation point";
}

// POSIX allows statvfs(3) to be a cancellation point; here it is one.
extern "C" __attribute__((visibility("default"))) int statvfs(
    char const* path, struct statvfs* out) noexcept
{
    ::pthread_testcancel();
    using Statvfs = int (*)(char const*, struct statvfs*);
    static auto const real = reinterpret_cast<Statvfs>(::dlsym(RTLD_NEXT, "statvfs64"));
    return real(path, out);
}
