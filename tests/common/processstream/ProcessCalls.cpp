#include "tests/common/processstream/ProcessCalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <ctime>

namespace processcalls {

namespace {

// Read in a child between fork and exec: plain words, and no lock around them.
std::atomic<unsigned> made[CALLS];
std::atomic<unsigned> failing = CALLS;
std::atomic<Side> failingSide = IN_PARENT;
std::atomic<unsigned> failingNumber = 0;
std::atomic<int> failingCode = 0;
std::atomic<unsigned> childsDelay = 0;
std::atomic<Side> here = IN_PARENT;
std::atomic<pid_t> forked = 0;
std::atomic<void (*)()> childsWork = nullptr;
std::atomic<bool> sleepsAreShort = false;
std::atomic<RecordedSleeps*> recorder = nullptr;

/** Counts the call. @return whether it is to fail; `errno` is set then. */
bool fails(Call call)
{
    unsigned const number = ++made[call];
    if (failing != call || failingSide != here || failingNumber != number)
        return false;
    errno = failingCode;
    return true;
}

/** The C library's functions, or a sanitizer's around them. */
struct Next {
    int (*socketpair)(int, int, int, int*);
    int (*posix_openpt)(int);
    int (*grantpt)(int);
    int (*unlockpt)(int);
    int (*ptsname_r)(int, char*, size_t);
    int (*open64)(char const*, int, ...);
    int (*pipe2)(int*, int);
    int (*fcntl64)(int, int, ...);
    pid_t (*fork)();
    int (*poll)(pollfd*, nfds_t, int);
    ssize_t (*read)(int, void*, size_t);
    ssize_t (*write)(int, void const*, size_t);
    pid_t (*waitpid)(pid_t, int*, int);
    int (*close)(int);
    int (*isatty)(int);
    int (*tcgetattr)(int, termios*);
    int (*tcsetattr)(int, int, termios const*);
    int (*dup2)(int, int);
    int (*kill)(pid_t, int);
    void* (*allocate_exception)(size_t);
    int (*clock_nanosleep)(clockid_t, int, timespec const*, timespec*);
};

template <class Function> void find(Function& function, char const* name)
{
    function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    if (!function)
        std::abort();
}

Next findAll()
{
    Next next{};
    find(next.socketpair, "socketpair");
    find(next.posix_openpt, "posix_openpt");
    find(next.grantpt, "grantpt");
    find(next.unlockpt, "unlockpt");
    find(next.ptsname_r, "ptsname_r");
    find(next.open64, "open64");
    find(next.pipe2, "pipe2");
    find(next.fcntl64, "fcntl64");
    find(next.fork, "fork");
    find(next.poll, "poll");
    find(next.read, "read");
    find(next.write, "write");
    find(next.waitpid, "waitpid");
    find(next.close, "close");
    find(next.isatty, "isatty");
    find(next.tcgetattr, "tcgetattr");
    find(next.tcsetattr, "tcsetattr");
    find(next.dup2, "dup2");
    find(next.kill, "kill");
    find(next.allocate_exception, "__cxa_allocate_exception");
    find(next.clock_nanosleep, "clock_nanosleep");
    return next;
}

Next const& next()
{
    static Next const functions = findAll();
    return functions;
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
    childsDelay = milliseconds;
}

SlowChild::~SlowChild()
{
    childsDelay = 0;
}

WorkInChild::WorkInChild(void (*work)())
{
    childsWork = work;
}

WorkInChild::~WorkInChild()
{
    childsWork = nullptr;
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
    recorder = this;
}

RecordedSleeps::~RecordedSleeps()
{
    recorder = nullptr;
}

namespace {

int slowIsatty(int fd)
{
    unsigned const delay = here == IN_CHILD ? childsDelay.load() : 0;
    timespec const length{
        static_cast<time_t>(delay / 1000), static_cast<long>(delay % 1000) * 1'000'000L};
    next().clock_nanosleep(CLOCK_MONOTONIC, 0, &length, nullptr);
    return fails(ISATTY) ? 0 : next().isatty(fd);
}

pid_t countedFork()
{
    Next const& functions = next(); // A child is to find them found.
    if (fails(FORK))
        return -1;
    pid_t const pid = functions.fork();
    if (pid == 0) {
        here = IN_CHILD;
        forgetCalls();
        if (auto* const work = childsWork.load())
            work();
    } else {
        forked = pid;
    }
    return pid;
}

}

}

using processcalls::fails;
using processcalls::next;

// Where files have 64-bit offsets, the headers give open and fcntl their other names by themselves.
#pragma GCC visibility push(default)
extern "C" {

int socketpair(int domain, int type, int protocol, int* fds) noexcept
{
    return fails(processcalls::SOCKETPAIR) ? -1 : next().socketpair(domain, type, protocol, fds);
}

int posix_openpt(int flags)
{
    return fails(processcalls::POSIX_OPENPT) ? -1 : next().posix_openpt(flags);
}

int grantpt(int fd) noexcept
{
    return fails(processcalls::GRANTPT) ? -1 : next().grantpt(fd);
}

int unlockpt(int fd) noexcept
{
    return fails(processcalls::UNLOCKPT) ? -1 : next().unlockpt(fd);
}

int ptsname_r(int fd, char* name, size_t size) noexcept
{
    // Its result is the code itself, ptsname_r(3); errno is to tell nothing.
    if (fails(processcalls::PTSNAME_R)) {
        int const code = errno;
        errno = 0;
        return code;
    }
    return next().ptsname_r(fd, name, size);
}

int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    auto const mode = va_arg(arguments, mode_t); // Not looked at where it was not given.
    va_end(arguments);
    return fails(processcalls::OPEN) ? -1 : next().open64(path, flags, mode);
}

int pipe2(int* fds, int flags) noexcept
{
    return fails(processcalls::PIPE2) ? -1 : next().pipe2(fds, flags);
}

int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*); // As the C library itself takes it.
    va_end(arguments);
    return fails(processcalls::FCNTL) ? -1 : next().fcntl64(fd, command, argument);
}

pid_t fork() noexcept
{
    return processcalls::countedFork();
}

int poll(pollfd* fds, nfds_t count, int timeout)
{
    return fails(processcalls::POLL) ? -1 : next().poll(fds, count, timeout);
}

ssize_t read(int fd, void* buffer, size_t size)
{
    return fails(processcalls::READ) ? -1 : next().read(fd, buffer, size);
}

ssize_t write(int fd, void const* buffer, size_t size)
{
    return fails(processcalls::WRITE) ? -1 : next().write(fd, buffer, size);
}

pid_t waitpid(pid_t pid, int* status, int options)
{
    return fails(processcalls::WAITPID) ? -1 : next().waitpid(pid, status, options);
}

int close(int fd)
{
    return fails(processcalls::CLOSE) ? -1 : next().close(fd);
}

int isatty(int fd) noexcept
{
    return processcalls::slowIsatty(fd);
}

int tcgetattr(int fd, termios* mode) noexcept
{
    return fails(processcalls::TCGETATTR) ? -1 : next().tcgetattr(fd, mode);
}

int tcsetattr(int fd, int when, termios const* mode) noexcept
{
    return fails(processcalls::TCSETATTR) ? -1 : next().tcsetattr(fd, when, mode);
}

int dup2(int from, int to) noexcept
{
    return fails(processcalls::DUP2) ? -1 : next().dup2(from, to);
}

int kill(pid_t pid, int signal) noexcept
{
    return fails(processcalls::KILL) ? -1 : next().kill(pid, signal);
}

// Each throw begins with it.
void* __cxa_allocate_exception(size_t size) noexcept
{
    fails(processcalls::THROW);
    return next().allocate_exception(size);
}

int clock_nanosleep(clockid_t clock, int flags, timespec const* length, timespec* left)
{
    auto* const recorder = processcalls::recorder.load();
    if (!recorder) {
        // Nobody here sleeps for as long as a thousand seconds.
        timespec const shorter{
            0, static_cast<long>(length->tv_sec) * 1'000'000L + length->tv_nsec / 1000};
        return next().clock_nanosleep(
            clock, flags, processcalls::sleepsAreShort ? &shorter : length, left);
    }
    auto const milliseconds = int64_t{length->tv_sec} * 1000 + length->tv_nsec / 1'000'000;
    recorder->add(static_cast<unsigned>(milliseconds));
    return 0;
}
}
#pragma GCC visibility pop
