#include "tests/common/processstream/ProcessCalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <new>

namespace processcalls {

namespace {

// Atomic, as a child reads them between fork and exec, where it must not take a lock.
std::atomic<unsigned> made[CALLS];
std::atomic<unsigned> failing = CALLS;
std::atomic<Side> failingSide = IN_PARENT;
std::atomic<unsigned> failingNumber = 0;
std::atomic<int> failingCode = 0;
std::atomic<unsigned> delayInChild = 0;
std::atomic<Side> here = IN_PARENT;
std::atomic<pid_t> forked = 0;
std::atomic<void (*)()> workInChild = nullptr;
std::atomic<bool> sleepsAreShort = false;
std::atomic<RecordedSleeps*> sleepRecorder = nullptr;

/** In memory that the program shares with its children. */
struct CallRecord {
    static constexpr unsigned SIZE = 1000;

    std::atomic<unsigned> count;
    std::atomic<Call> calls[SIZE];
    std::atomic<Side> sides[SIZE];
};

std::atomic<CallRecord*> callRecord = nullptr;

/** Counts and records the call. @return whether it must fail; sets `errno` then. */
bool fails(Call call)
{
    if (CallRecord* const record = callRecord) {
        unsigned const place = std::min(record->count++, CallRecord::SIZE - 1);
        record->calls[place] = call;
        record->sides[place] = here.load();
    }
    unsigned const number = ++made[call];
    if (failing != call || failingSide != here || failingNumber != number)
        return false;
    errno = failingCode;
    return true;
}

/** A function of the C library, or a sanitizer's around it. */
class Found {
public:
    explicit Found(char const* name) : m_function(::dlsym(RTLD_NEXT, name))
    {
        if (!m_function)
            std::abort();
    }

    template <class Function> operator Function*() const
    {
        return reinterpret_cast<Function*>(m_function);
    }

private:
    void* m_function;
};

struct RealCalls {
    int (*socketpair)(int, int, int, int*) = Found("socketpair");
    int (*posix_openpt)(int) = Found("posix_openpt");
    int (*grantpt)(int) = Found("grantpt");
    int (*unlockpt)(int) = Found("unlockpt");
    int (*ptsname_r)(int, char*, size_t) = Found("ptsname_r");
    int (*open64)(char const*, int, ...) = Found("open64");
    int (*pipe2)(int*, int) = Found("pipe2");
    int (*fcntl64)(int, int, ...) = Found("fcntl64");
    pid_t (*fork)() = Found("fork");
    int (*poll)(pollfd*, nfds_t, int) = Found("poll");
    ssize_t (*read)(int, void*, size_t) = Found("read");
    ssize_t (*write)(int, void const*, size_t) = Found("write");
    pid_t (*waitpid)(pid_t, int*, int) = Found("waitpid");
    int (*close)(int) = Found("close");
    int (*isatty)(int) = Found("isatty");
    int (*tcgetattr)(int, termios*) = Found("tcgetattr");
    int (*tcsetattr)(int, int, termios const*) = Found("tcsetattr");
    int (*dup2)(int, int) = Found("dup2");
    int (*kill)(pid_t, int) = Found("kill");
    void* (*allocate_exception)(size_t) = Found("__cxa_allocate_exception");
    int (*clock_nanosleep)(clockid_t, int, timespec const*, timespec*) = Found("clock_nanosleep");
};

RealCalls const& real()
{
    static RealCalls const calls;
    return calls;
}

}

unsigned callsMade(Call call)
{
    return made[call];
}

void forgetCalls()
{
    for (auto& count : made)
        count = 0;
}

pid_t latestChild()
{
    return forked;
}

void becomeParent()
{
    here = IN_PARENT;
}

FailingCall::FailingCall(Call call, int code, Side side, unsigned number)
{
    forgetCalls();
    failingSide = side;
    failingNumber = number;
    failingCode = code;
    failing = call;
}

FailingCall::~FailingCall()
{
    failing = CALLS;
}

SlowChild::SlowChild(unsigned milliseconds)
{
    delayInChild = milliseconds;
}

SlowChild::~SlowChild()
{
    delayInChild = 0;
}

WorkInChild::WorkInChild(void (*work)())
{
    workInChild = work;
}

WorkInChild::~WorkInChild()
{
    workInChild = nullptr;
}

ShortSleeps::ShortSleeps()
{
    sleepsAreShort = true;
}

ShortSleeps::~ShortSleeps()
{
    sleepsAreShort = false;
}

RecordedSleeps::RecordedSleeps()
{
    sleepRecorder = this;
}

RecordedSleeps::~RecordedSleeps()
{
    sleepRecorder = nullptr;
}

RecordedCalls::RecordedCalls()
{
    void* const memory = ::mmap(
        nullptr, sizeof(CallRecord), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED)
        std::abort();
    callRecord = new (memory) CallRecord{};
}

RecordedCalls::~RecordedCalls()
{
    CallRecord* const record = callRecord.exchange(nullptr);
    ::munmap(record, sizeof(CallRecord));
}

std::vector<Call> RecordedCalls::madeBy(Side side) const
{
    CallRecord const& record = *callRecord;
    std::vector<Call> calls;
    for (unsigned i = 0; i < std::min<unsigned>(record.count, CallRecord::SIZE); ++i)
        if (record.sides[i] == side)
            calls.push_back(record.calls[i]);
    return calls;
}

namespace {

int slowIsatty(int fd)
{
    unsigned const delay = here == IN_CHILD ? delayInChild.load() : 0;
    timespec const length{
        static_cast<time_t>(delay / 1000), static_cast<long>(delay % 1000) * 1'000'000L};
    real().clock_nanosleep(CLOCK_MONOTONIC, 0, &length, nullptr);
    return fails(ISATTY) ? 0 : real().isatty(fd);
}

pid_t countedFork()
{
    RealCalls const& calls = real(); // Before the fork: a child must not call dlsym(3).
    if (fails(FORK))
        return -1;
    pid_t const pid = calls.fork();
    if (pid == 0) {
        here = IN_CHILD;
        forgetCalls();
        if (auto* const work = workInChild.load())
            work();
    } else {
        forked = pid;
    }
    return pid;
}

}

}

using processcalls::fails;
using processcalls::real;

// With 64-bit file offsets, the headers themselves rename open and fcntl to open64 and fcntl64.
#pragma GCC visibility push(default)
extern "C" {

int socketpair(int domain, int type, int protocol, int* fds) noexcept
{
    return fails(processcalls::SOCKETPAIR) ? -1 : real().socketpair(domain, type, protocol, fds);
}

int posix_openpt(int flags)
{
    return fails(processcalls::POSIX_OPENPT) ? -1 : real().posix_openpt(flags);
}

int grantpt(int fd) noexcept
{
    return fails(processcalls::GRANTPT) ? -1 : real().grantpt(fd);
}

int unlockpt(int fd) noexcept
{
    return fails(processcalls::UNLOCKPT) ? -1 : real().unlockpt(fd);
}

int ptsname_r(int fd, char* name, size_t size) noexcept
{
    // It returns the code, ptsname_r(3), and need not set errno.
    if (fails(processcalls::PTSNAME_R)) {
        int const code = errno;
        errno = 0;
        return code;
    }
    return real().ptsname_r(fd, name, size);
}

int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    auto const mode = va_arg(arguments, mode_t); // Unused where it is not passed.
    va_end(arguments);
    return fails(processcalls::OPEN) ? -1 : real().open64(path, flags, mode);
}

int pipe2(int* fds, int flags) noexcept
{
    return fails(processcalls::PIPE2) ? -1 : real().pipe2(fds, flags);
}

int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*); // As in the C library.
    va_end(arguments);
    return fails(processcalls::FCNTL) ? -1 : real().fcntl64(fd, command, argument);
}

pid_t fork() noexcept
{
    return processcalls::countedFork();
}

int poll(pollfd* fds, nfds_t count, int timeout)
{
    return fails(processcalls::POLL) ? -1 : real().poll(fds, count, timeout);
}

ssize_t read(int fd, void* buffer, size_t size)
{
    return fails(processcalls::READ) ? -1 : real().read(fd, buffer, size);
}

ssize_t write(int fd, void const* buffer, size_t size)
{
    return fails(processcalls::WRITE) ? -1 : real().write(fd, buffer, size);
}

pid_t waitpid(pid_t pid, int* status, int options)
{
    return fails(processcalls::WAITPID) ? -1 : real().waitpid(pid, status, options);
}

int close(int fd)
{
    return fails(processcalls::CLOSE) ? -1 : real().close(fd);
}

int isatty(int fd) noexcept
{
    return processcalls::slowIsatty(fd);
}

int tcgetattr(int fd, termios* mode) noexcept
{
    return fails(processcalls::TCGETATTR) ? -1 : real().tcgetattr(fd, mode);
}

int tcsetattr(int fd, int when, termios const* mode) noexcept
{
    return fails(processcalls::TCSETATTR) ? -1 : real().tcsetattr(fd, when, mode);
}

int dup2(int from, int to) noexcept
{
    return fails(processcalls::DUP2) ? -1 : real().dup2(from, to);
}

int kill(pid_t pid, int signal) noexcept
{
    return fails(processcalls::KILL) ? -1 : real().kill(pid, signal);
}

// Each throw begins with this call.
void* __cxa_allocate_exception(size_t size) noexcept
{
    fails(processcalls::THROW);
    return real().allocate_exception(size);
}

int clock_nanosleep(clockid_t clock, int flags, timespec const* length, timespec* left)
{
    auto* const recorder = processcalls::sleepRecorder.load();
    if (!recorder) {
        // No test sleeps for a thousand seconds.
        timespec const shorter{
            0, static_cast<long>(length->tv_sec) * 1'000'000L + length->tv_nsec / 1000};
        return real().clock_nanosleep(
            clock, flags, processcalls::sleepsAreShort ? &shorter : length, left);
    }
    auto const milliseconds = int64_t{length->tv_sec} * 1000 + length->tv_nsec / 1'000'000;
    recorder->add(static_cast<unsigned>(milliseconds));
    return 0;
}
}
#pragma GCC visibility pop
