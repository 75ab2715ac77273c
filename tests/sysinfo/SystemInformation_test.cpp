#include "sysinfo/LinuxSystemInformation.h"
#include "sysinfo/SystemInformation.h"
#include "sysinfo/plugin.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"
#include "tests/sysinfo/record_text.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <type_traits>
#include <vector>

using dovrel::value_ptr;
using sysinfo::SystemInformation;
using testkit::machine;

namespace {

using Processors = std::vector<value_ptr<SystemInformation::CPUInfo>>;

}

TEST(SystemInformation, createReturnsALinuxObjectWithoutALastError)
{
    value_ptr<SystemInformation> const information = SystemInformation::create();
    ASSERT_TRUE(information);
    EXPECT_NE(dynamic_cast<sysinfo::LinuxSystemInformation*>(information.get()), nullptr);
    EXPECT_TRUE(information->getLastError().empty());
}

TEST(SystemInformation, createReturnsANewObjectOnEveryCall)
{
    value_ptr<SystemInformation> const one = SystemInformation::create();
    value_ptr<SystemInformation> const other = SystemInformation::create();
    EXPECT_NE(one.get(), other.get());
}

TEST(SystemInformation, libopenReturnsALinuxObject)
{
    SystemInformation* const information = libopen();
    ASSERT_NE(information, nullptr);
    EXPECT_NE(dynamic_cast<sysinfo::LinuxSystemInformation*>(information), nullptr);
    EXPECT_TRUE(information->getLastError().empty());
    machine.file("/proc/stat", "cpu0 1\n");
    Processors processors;
    EXPECT_TRUE(information->getCPUsInternal(processors));
    EXPECT_EQ(processors.size(), 1U);
    libclose(information);
    EXPECT_EQ(textOf(*processors.at(0)).substr(0, 13), "0 running at ");
}

TEST(SystemInformation, isClonedWhenValuePtrIsCopied)
{
    value_ptr<SystemInformation> const original = SystemInformation::create();
    value_ptr<SystemInformation> const copy = original;
    ASSERT_TRUE(copy);
    EXPECT_NE(copy.get(), original.get());
    EXPECT_NE(dynamic_cast<sysinfo::LinuxSystemInformation*>(copy.get()), nullptr);
}

TEST(SystemInformation, isAnInterface)
{
    EXPECT_TRUE(std::is_abstract_v<SystemInformation>);
    EXPECT_TRUE(std::is_abstract_v<sysinfo::UNIXSystemInformation>);
    EXPECT_FALSE(std::is_abstract_v<sysinfo::LinuxSystemInformation>);
    EXPECT_TRUE(std::has_virtual_destructor_v<SystemInformation>);
    EXPECT_TRUE(std::has_virtual_destructor_v<SystemInformation::Info>);
    EXPECT_TRUE((std::is_base_of_v<sysinfo::SystemInformation_Precursor, SystemInformation>));
    EXPECT_TRUE(std::is_empty_v<sysinfo::SystemInformation_Precursor>);
}

TEST(SystemInformation, hypervisorTypesHaveTheNumbersThatHostsUse)
{
    EXPECT_EQ(SystemInformation::HYPERVISOR_NONE, 0);
    EXPECT_EQ(SystemInformation::HYPERVISOR_VMWARE, 1);
    EXPECT_EQ(SystemInformation::HYPERVISOR_HYPERV, 2);
    EXPECT_EQ(SystemInformation::HYPERVISOR_XEN, 3);
    EXPECT_EQ(SystemInformation::HYPERVISOR_KVM, 4);
    EXPECT_EQ(SystemInformation::HYPERVISOR_QEMU, 5);
    EXPECT_EQ(SystemInformation::HYPERVISOR_VIRTUALBOX, 6);
    EXPECT_EQ(SystemInformation::HYPERVISOR_PARALLELS, 7);
    EXPECT_EQ(SystemInformation::HYPERVISOR_OTHER, 8);
    EXPECT_EQ(SystemInformation::HYPERVISOR_BHYVE, 9);
    EXPECT_EQ(SystemInformation::HYPERVISOR_AMAZON, 10);
    EXPECT_EQ(SystemInformation::HYPERVISOR_AZURE, 11);
}

TEST(Records, outliveTheSourceListAndTheQueryObject)
{
    machine.file("/proc/stat", "cpu0 1\ncpu1 1\n");
    Processors copy;
    {
        Processors processors;
        ASSERT_TRUE(SystemInformation::create()->getCPUsInternal(processors));
        copy = processors;
        for (size_t i = 0; i < processors.size(); ++i)
            EXPECT_NE(copy.at(i).get(), processors[i].get());
    }
    machine.remove("/proc/stat");
    ASSERT_EQ(copy.size(), 2U);
    EXPECT_EQ(textOf(*copy[0]), "0 running at 0 / 0 MHz usage: 0%");
    EXPECT_EQ(textOf(*copy[1]), "1 running at 0 / 0 MHz usage: 0%");
}

TEST(Records, copyNullAsNull)
{
    machine.file("/proc/stat", "cpu0 1\n");
    Processors processors(1);
    ASSERT_TRUE(SystemInformation::create()->getCPUsInternal(processors));
    Processors const copy = processors;
    ASSERT_EQ(copy.size(), 2U);
    EXPECT_FALSE(copy[0]);
    EXPECT_TRUE(copy[1]);
}

TEST(Caches, stayEmptyAfterAQueryKept)
{
    machine.file("/proc/stat", "cpu0 1\n");
    Processors processors;
    ASSERT_TRUE(SystemInformation::create()->getCPUsInternal(processors));

    EXPECT_EQ(SystemInformation::m_diskCache.word, 0U);
    EXPECT_TRUE(SystemInformation::m_diskCache.records.empty());
    EXPECT_EQ(SystemInformation::m_fsCache.word, 0U);
    EXPECT_TRUE(SystemInformation::m_fsCache.records.empty());
    EXPECT_EQ(SystemInformation::m_cpuCache.word, 0U);
    EXPECT_TRUE(SystemInformation::m_cpuCache.records.empty());
    EXPECT_EQ(SystemInformation::m_netCache.word, 0U);
    EXPECT_TRUE(SystemInformation::m_netCache.records.empty());
    for (uint32_t const word : SystemInformation::m_memCache.words)
        EXPECT_EQ(word, 0U);
}

TEST(Caches, haveMutexesThatNoQueryLocks)
{
    machine.file("/proc/stat", "cpu0 1\n");
    ASSERT_TRUE(SystemInformation::m_cpuCache.mutex.try_lock());
    EXPECT_TRUE(SystemInformation::m_netCache.mutex.try_lock());
    Processors processors;
    EXPECT_TRUE(SystemInformation::create()->getCPUsInternal(processors));
    SystemInformation::m_netCache.mutex.unlock();
    SystemInformation::m_cpuCache.mutex.unlock();
}

TEST(Threads, mayQueryTheirOwnObjectsConcurrently)
{
    constexpr unsigned THREADS = 8;
    constexpr unsigned ROUNDS = 50;
    std::string text = "cpu 1\n";
    for (unsigned i = 0; i < THREADS; ++i)
        text += "cpu" + std::to_string(i) + " " + std::to_string(i + 1) + " 0 0 100\n";
    machine.file("/proc/stat", text);
    machine.file("/sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "1200000\n");

    std::vector<unsigned> right(THREADS, 0);
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < THREADS; ++t)
        threads.emplace_back([t, &right] {
            for (unsigned round = 0; round < ROUNDS; ++round) {
                Processors processors;
                value_ptr<SystemInformation> const information = SystemInformation::create();
                unsigned idle = 0;
                unsigned busy = 0;
                sysinfo::UNIXSystemInformation::UNIXCPUInfo const own(t);
                if (information->getCPUsInternal(processors) && processors.size() == THREADS
                    && processors[0]->getCurrentSpeedInMHZ() == 1200 && own.readCounters(idle, busy)
                    && idle == 100 && busy == t + 1)
                    ++right[t];
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(right, std::vector<unsigned>(THREADS, ROUNDS));
}
