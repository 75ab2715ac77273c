// How the queries open their files: leased files, and /tmp/percent, which any user can create.

#include "sysinfo/LinuxSystemInformation.h"
#include "tests/support/Channel.h"
#include "tests/support/Machine.h"
#include "tests/sysinfo/OpenCalls.h"
#include "tests/sysinfo/ReadCalls.h"
#include "tests/sysinfo/recovery_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

using sysinfo::LinuxSystemInformation;
using sysinfo::SystemInformation;
using testkit::machine;

namespace {

using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;

constexpr auto& PERCENT = testkit::RECOVERY_PERCENT;
constexpr char SPEED[] = "/sys/devices/system/cpu/cpu0/cpufreq/bios_limit";
constexpr unsigned COMPUTED = 37;

size_t processors()
{
    std::vector<dovrel::value_ptr<SystemInformation::CPUInfo>> list;
    return LinuxSystemInformation().getCPUsInternal(list) ? list.size() : 999;
}

size_t mounts()
{
    std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>> list;
    return LinuxSystemInformation().getDisksInternal(list) ? list.size() : 999;
}

size_t kernelMemory()
{
    uint64_t total = 0;
    uint64_t free = 0;
    return LinuxSystemInformation().UNIXSystemInformation::getMemoryInfo(total, free)
        ? static_cast<size_t>(total)
        : 999;
}

size_t operation()
{
    auto const record = testkit::pollRecovery();
    return record ? record->getOperationID() : 999;
}

unsigned percentage()
{
    auto const record = testkit::pollRecovery();
    return record ? record->getOperationProgress() : 999;
}

/** A file, a query that reads it, and the query's result if it can read the file. */
struct Source {
    char const* path;
    std::function<size_t()> query;
    size_t result;
};

std::vector<Source> sources()
{
    return {{"/proc/stat", processors, 2}, {"/proc/mounts", mounts, 1},
        {"/proc/partitions", mounts, 1}, {"/proc/meminfo", kernelMemory, 7},
        {testkit::RECOVERY_STATUS, operation, 5500}, {testkit::RECOVERY_ANSWERS, operation, 5500},
        {PERCENT, percentage, 73}, {SPEED, [] { return UNIXCPUInfo(0).getMaxSpeedInMHZ(); }, 2400}};
}

class SourceOfAQuery : public testing::Test {
protected:
    SourceOfAQuery()
    {
        machine.file("/proc/stat", "cpu 1\ncpu0 1\ncpu1 1\n");
        machine.file("/proc/partitions", "major minor  #blocks  name\n\n 8 0 2 sda\n");
        machine.file("/proc/mounts", "/dev/sda / ext4 rw 0 0\n");
        machine.file("/proc/meminfo", "MemTotal: 7 kB\nMemFree: 3 kB\n");
        machine.file(SPEED, "2400000\n");
        machine.file(testkit::RECOVERY_STATUS,
            "[Main]\nStatus=5000\n[RestoreStatus]\nTotalFiles=200\nFilesDone=50\n"
            "TotalBytes=1048576000\nBytesDone=524288000\n");
        machine.file(testkit::RECOVERY_ANSWERS, "[AdvancedOptions]\nFinalSync=1\n");
        machine.file(PERCENT, "73\n");
    }
};

/** A process with a write lease on a file (fcntl(2)). It releases the lease 0.1 s after the kernel
 * breaks it. */
class LeaseHolder : dovrel::noncopyable_::noncopyable {
public:
    explicit LeaseHolder(char const* path)
    {
        auto ready = testkit::Channel::pipe();
        m_child = ::fork();
        if (m_child == 0)
            hold(path, ready.writer);
        ready.writer.close();
        char word = 0;
        m_hasLease = ::read(ready.reader, &word, 1) == 1;
    }
    ~LeaseHolder()
    {
        if (m_child > 0) {
            ::kill(m_child, SIGKILL);
            ::waitpid(m_child, nullptr, 0);
        }
    }

    bool hasLease() const { return m_hasLease; }

private:
    [[noreturn]] static void hold(char const* path, int ready)
    {
        sigset_t broken;
        sigemptyset(&broken);
        sigaddset(&broken, SIGIO);
        ::sigprocmask(SIG_BLOCK, &broken, nullptr);
        int const file = ::open(path, O_RDWR | O_CLOEXEC);
        if (file < 0 || ::fcntl(file, F_SETLEASE, F_WRLCK) != 0 || ::write(ready, "!", 1) != 1)
            ::_exit(1);
        siginfo_t signal;
        ::sigwaitinfo(&broken, &signal);
        timespec const pause{0, 100'000'000};
        ::nanosleep(&pause, nullptr);
        ::fcntl(file, F_SETLEASE, F_UNLCK);
        for (;;)
            ::pause();
    }

    pid_t m_child = -1;
    bool m_hasLease = false;
};

}

TEST_F(SourceOfAQuery, isReadDespiteAnotherProcessesLease)
{
    for (Source const& source : sources()) {
        ASSERT_EQ(source.query(), source.result) << source.path;
        LeaseHolder const holder(source.path);
        ASSERT_TRUE(holder.hasLease()) << source.path;
        EXPECT_EQ(source.query(), source.result) << source.path;
    }
}

TEST_F(SourceOfAQuery, isReopenedWithoutBlockingWhileALeaseIsHeld)
{
    for (Source const& source : sources()) {
        testkit::OpenCalls calls(source.path);
        ASSERT_EQ(source.query(), source.result) << source.path;
        size_t const opens = calls.flags().size();
        calls.refuseWithoutWait(EWOULDBLOCK, 3);
        EXPECT_EQ(source.query(), source.result) << source.path;
        ASSERT_EQ(calls.flags().size(), 2 * opens + 3) << source.path;
        for (int const flags : calls.flags()) {
            EXPECT_NE(flags & O_NONBLOCK, 0) << source.path;
            EXPECT_NE(flags & O_CLOEXEC, 0) << source.path;
            EXPECT_NE(flags & O_NOCTTY, 0) << source.path;
        }
    }
}

TEST_F(SourceOfAQuery, doesNotBlockWhenAFifoReplacesALeasedFile)
{
    testkit::OpenCalls calls(PERCENT);
    calls.refuseWithoutWait(EWOULDBLOCK);
    calls.before([] {
        machine.remove(PERCENT);
        ASSERT_EQ(::mkfifo(PERCENT, 0644), 0);
    });
    EXPECT_EQ(percentage(), COMPUTED) << "the fifo has no writer";
}

TEST_F(SourceOfAQuery, isReopenedAfterSignals)
{
    testkit::OpenCalls calls("/proc/stat");
    calls.interrupt(3);
    calls.refuseWithoutWait(EWOULDBLOCK);
    EXPECT_EQ(processors(), 2U);
}

TEST_F(SourceOfAQuery, isNotReopenedAfterOtherErrors)
{
    for (int const code : {EACCES, EMFILE, ENXIO}) {
        testkit::OpenCalls calls("/proc/stat");
        calls.refuseWithoutWait(code);
        EXPECT_EQ(processors(), 999U);
        EXPECT_EQ(calls.flags().size(), 1U);
    }
}

TEST_F(SourceOfAQuery, isNotReopenedWhenItIsNoRegularFile)
{
    machine.remove("/proc/stat");
    ASSERT_EQ(::mkfifo("/proc/stat", 0644), 0);
    testkit::OpenCalls calls("/proc/stat");
    calls.refuseWithoutWait(EWOULDBLOCK);
    EXPECT_EQ(processors(), 999U);
    EXPECT_EQ(calls.flags().size(), 1U);
}

TEST_F(SourceOfAQuery, doesNotOpenAPercentFileThatIsNoRegularFile)
{
    machine.remove(PERCENT);
    ASSERT_EQ(::mkfifo("/tmp/fifo", 0644), 0);
    for (char const* target : {"/dev/null", "/tmp/fifo", "/etc", "percent", "gone"}) {
        machine.link(PERCENT, target);
        testkit::OpenCalls const calls(PERCENT);
        EXPECT_EQ(percentage(), COMPUTED) << target;
        EXPECT_TRUE(calls.flags().empty()) << target;
        machine.remove(PERCENT);
    }
    machine.file("/var/percent", "73");
    machine.link(PERCENT, "/var/percent");
    testkit::OpenCalls const calls(PERCENT);
    EXPECT_EQ(percentage(), 73U);
    EXPECT_EQ(calls.flags().size(), 1U);
}

TEST_F(SourceOfAQuery, closesAFifoThatReplacesThePercentFileUnread)
{
    int writer = -1;
    testkit::OpenCalls calls(PERCENT);
    calls.before([&] {
        machine.remove(PERCENT);
        ASSERT_EQ(::mkfifo(PERCENT, 0644), 0);
        writer =
            ::openat(AT_FDCWD, PERCENT, O_RDWR | O_CLOEXEC | O_NONBLOCK); // Bypasses OpenCalls.
        ASSERT_EQ(::write(writer, "73\n", 3), 3);
    });
    EXPECT_EQ(percentage(), COMPUTED);
    char left[8];
    EXPECT_EQ(::read(writer, left, sizeof left), 3);
    ::close(writer);
}

TEST_F(SourceOfAQuery, readsAFileThatReplacesThePercentFile)
{
    testkit::OpenCalls calls(PERCENT);
    calls.before([&] {
        machine.file("/tmp/percent.new", "74\n");
        ASSERT_EQ(::rename("/tmp/percent.new", PERCENT), 0);
    });
    EXPECT_EQ(percentage(), 74U);
}

TEST_F(SourceOfAQuery, ignoresAPercentageWhoseReadFailsMidway)
{
    for (std::string_view const text : {"73", "7", " 1"}) {
        machine.file(PERCENT, text);
        testkit::ReadCalls reads(PERCENT);
        reads.failBehind(1, EIO);
        EXPECT_EQ(percentage(), COMPUTED) << text;
        EXPECT_GE(reads.failures(), 1U);
    }
    machine.file(PERCENT, "73\nmore");
    testkit::ReadCalls reads(PERCENT);
    reads.failBehind(3, EIO);
    EXPECT_EQ(percentage(), 73U) << "the number ends before the error";
}
