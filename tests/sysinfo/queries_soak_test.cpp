// All queries from several threads, while another process replaces the machine's files and tools.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/Channel.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/capabilities.h"
#include "tests/support/narrow.h"
#include "tests/sysinfo/ReplacedFiles.h"

#include <boost/filesystem.hpp>

#include <dlfcn.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;
using testkit::machine;

// Ends the second that the processor's load takes. The kit's function would store each sleep.
extern "C" __attribute__((visibility("default"))) int clock_nanosleep(
    clockid_t clock, int flags, timespec const* time, timespec* left)
{
    if (clock == CLOCK_MONOTONIC && (flags & TIMER_ABSTIME) != 0)
        return 0;
    using Sleep = int (*)(clockid_t, int, timespec const*, timespec*);
    static auto const real = reinterpret_cast<Sleep>(::dlsym(RTLD_NEXT, "clock_nanosleep"));
    return real(clock, flags, time, left);
}

namespace {

constexpr int THREADS = 8;

/** @return the value of the environment variable DOVREL_SOAK_ROUNDS; 100 if it is not set. */
int roundsOfAllThreads()
{
    char const* const rounds = std::getenv("DOVREL_SOAK_ROUNDS");
    return rounds ? std::stoi(rounds) : 100;
}

/** @return a line for each record; the reason if the query throws, as it may in a soak. */
template <class Query> std::string answerOf(Query const& query)
{
    try {
        return query();
    } catch (std::exception const& failure) {
        return std::string("throws ") + failure.what() + '\n';
    }
}

template <class Record>
std::string linesOf(bool known, std::vector<dovrel::value_ptr<Record>> const& records)
{
    std::string all = known ? "known\n" : "unknown\n";
    for (auto const& record : records)
        all += narrow(dovrel::value_ptr<Record>(record)->toString()) + '\n';
    return all;
}

/** Makes all queries and calls all getters that read files. @return the answers as lines. */
std::string answersOf(SystemInformation const& system)
{
    std::string all = answerOf([&] {
        uint64_t total = 0;
        uint64_t free = 0;
        bool const known = system.getMemoryInfo(total, free);
        return std::to_string(known) + ' ' + std::to_string(total) + ' ' + std::to_string(free)
            + '\n';
    });
    all += answerOf([&] {
        bool unavailable = false;
        auto const recovery = system.getCloneInfo(unavailable);
        return recovery ? narrow(recovery->toString()) + '\n' : std::string("no recovery\n");
    });
    all += answerOf([&] {
        std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>> disks;
        bool const known = system.getPhysicalDisksInternal(disks);
        return linesOf(known, disks);
    });
    all += answerOf([&] {
        std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>> disks;
        bool const known = system.getDisksInternal(disks);
        return linesOf(known, disks);
    });
    all += answerOf([&] {
        std::vector<dovrel::value_ptr<SystemInformation::CPUInfo>> processors;
        bool const known = system.getCPUsInternal(processors);
        return linesOf(known, processors);
    });
    all += answerOf([&] {
        std::vector<dovrel::value_ptr<SystemInformation::NetworkInfo>> adapters;
        bool const known = system.getNetworksInternal(adapters);
        return linesOf(known, adapters);
    });
    all += answerOf([&] {
        std::string vendor;
        std::string product;
        std::string version;
        auto hypervisor = SystemInformation::HypervisorType();
        bool const known = system.getSystemInfo(vendor, product, version, hypervisor);
        return std::to_string(known) + ' ' + vendor + ' ' + product + ' ' + version + '\n';
    });
    return all + narrow(system.getLastError());
}

/** Makes all queries @p rounds times in all, on threads with an object each. */
void soak(int rounds)
{
    std::atomic<int> started = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < THREADS; ++i) {
        threads.emplace_back([&] {
            LinuxSystemInformation const system;
            while (started++ < rounds)
                answersOf(system);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

/** @return the memory of this process that is in use, from statm in proc(5). */
long residentKiB()
{
    machine.leave();
    long size = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    machine.enter();
    testkit::obeyFilePermissions(true);
    return resident * ::sysconf(_SC_PAGESIZE) / 1024;
}

/** What a process has at one time. */
struct Possessions {
    std::vector<int> descriptors = testkit::openDescriptors();
    size_t allocated = ::mallinfo2().uordblks; // Of all threads; 0 with a sanitizer.
    long resident = residentKiB();
};

}

TEST(QueriesSoak, leavesNothingWhileFilesAndToolsAreReplaced)
{
    testkit::ReplacedFiles files;
    files.restore();
    LinuxSystemInformation const system;
    std::string const intact = answersOf(system);

    testkit::Channel stop = testkit::Channel::pipe();
    pid_t const replacer = ::fork();
    ASSERT_GE(replacer, 0);
    if (replacer == 0) {
        stop.writer.close();
        files.replaceUntilClosed(stop.reader);
    }
    stop.reader.close();

    soak(THREADS * 2); // The C library allocates what it keeps.
    Possessions const before;
    int const rounds = roundsOfAllThreads();
    soak(rounds);
    Possessions const after;
    stop.writer.close();
    int status = -1;
    EXPECT_EQ(::waitpid(replacer, &status, 0), replacer);
    EXPECT_EQ(status, 0);

    EXPECT_EQ(after.descriptors, before.descriptors);
    testkit::expectNoChildren();
    constexpr size_t NOISE = 4096; // In ./check, 50 bytes for each round exceed it.
    EXPECT_LE(after.allocated, before.allocated + NOISE);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    constexpr long NOISE_KIB = 4096; // Free blocks of the threads' arenas. Valgrind keeps more.
    if (!std::getenv("DOVREL_SOAK_UNDER_VALGRIND")) {
        EXPECT_LE(after.resident, before.resident + NOISE_KIB);
    }
#endif
    EXPECT_EQ(answersOf(system), intact);
    std::printf("%d rounds: allocated %zu and %zu bytes, resident %ld and %ld KiB\n", rounds,
        before.allocated, after.allocated, before.resident, after.resident);
}
