#include "tests/support/SystemCalls.h"
#include "tests/sysinfo/FaultStandIns.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>

using testkit::faultCalls;
using testkit::theRealOne;

namespace {

/** Longer than a child takes on a busy machine. */
constexpr int PATIENCE_MS = 20'000;

void waitOneMillisecond()
{
    timespec const length{0, 1'000'000};
    ::nanosleep(&length, nullptr);
}

}

#pragma GCC visibility push(default)
extern "C" {

FAULT_CALL(
    FILE*, popen, "popen", nullptr, (char const* command, char const* mode), (command, mode), )
FAULT_CALL_RELEASING(pclose, FILE* stream, stream)
FAULT_CALL(int, socketpair, "socketpair", -1, (int domain, int type, int protocol, int* fds),
    (domain, type, protocol, fds), noexcept)
FAULT_CALL(int, posix_openpt, "posix_openpt", -1, (int flags), (flags), )
FAULT_CALL(int, grantpt, "grantpt", -1, (int fd), (fd), noexcept)
FAULT_CALL(int, unlockpt, "unlockpt", -1, (int fd), (fd), noexcept)
FAULT_CALL(int, pipe2, "pipe2", -1, (int* fds, int flags), (fds, flags), noexcept)
FAULT_CALL(pid_t, fork, "fork", -1, (), (), noexcept)
FAULT_CALL(int, dup2, "dup2", -1, (int from, int to), (from, to), noexcept)
FAULT_CALL(int, dup3, "dup3", -1, (int from, int to, int flags), (from, to, flags), noexcept)
FAULT_CALL(int, isatty, "isatty", 0, (int fd), (fd), noexcept)
FAULT_CALL(int, tcgetattr, "tcgetattr", -1, (int fd, termios* mode), (fd, mode), noexcept)
FAULT_CALL(int, tcsetattr, "tcsetattr", -1, (int fd, int when, termios const* mode),
    (fd, when, mode), noexcept)
FAULT_CALL(int, mincore, "mincore", -1, (void* pages, size_t size, unsigned char* out),
    (pages, size, out), noexcept)
FAULT_CALL(void*, mmap, "mmap64", MAP_FAILED,
    (void* address, size_t size, int protection, int flags, int fd, off_t offset),
    (address, size, protection, flags, fd, offset), noexcept)
FAULT_CALL(int, shutdown, "shutdown", -1, (int fd, int how), (fd, how), noexcept)

int ptsname_r(int fd, char* name, size_t size) noexcept
{
    static auto const found = theRealOne<int (*)(int, char*, size_t)>("ptsname_r");
    int const error = faultCalls.errorOf("ptsname_r");
    return error != 0 ? error : found(fd, name, size);
}

int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*); // As in the C library.
    va_end(arguments);
    static auto const found = theRealOne<int (*)(int, int, ...)>("fcntl64");
    return faultCalls.fails("fcntl") ? -1 : found(fd, command, argument);
}

int execle(char const* path, char const* argument, ...) noexcept
{
    constexpr size_t LARGEST = 8;
    char* arguments[LARGEST] = {const_cast<char*>(argument)};
    va_list rest;
    va_start(rest, argument);
    for (size_t i = 1; i < LARGEST && arguments[i - 1]; ++i)
        arguments[i] = va_arg(rest, char*);
    char** const environment = va_arg(rest, char**);
    va_end(rest);
    return faultCalls.fails("execle") ? -1 : ::execve(path, arguments, environment);
}

size_t fread_unlocked(void* buffer, size_t size, size_t count, FILE* stream)
{
    static auto const found =
        theRealOne<size_t (*)(void*, size_t, size_t, FILE*)>("fread_unlocked");
    int const error = faultCalls.errorOf("fread_unlocked");
    if (error > 0) {
        constexpr int ERROR_SEEN = 0x20; // _IO_ERR_SEEN of the C library; see ferror(3).
        stream->_flags |= ERROR_SEEN;
        errno = error;
        return 0;
    }
    return found(
        buffer, size, error == testkit::ONE_BYTE ? std::min<size_t>(count, 1) : count, stream);
}

// Reaps the child before it reports that there is none, as another part of the host would.
pid_t waitpid(pid_t pid, int* status, int options)
{
    static auto const found = theRealOne<pid_t (*)(pid_t, int*, int)>("waitpid");
    int const error = faultCalls.errorOf("waitpid");
    if (error == 0)
        return found(pid, status, options);
    if (error == ECHILD)
        found(pid, status, 0);
    errno = error;
    return -1;
}

// The library waits a second for a child's set-up, and a tenth of a second for its output and end.
// Here they end with the child, so that a busy machine changes no result.

int poll(pollfd* fds, nfds_t count, int timeout)
{
    static auto const found = theRealOne<int (*)(pollfd*, nfds_t, int)>("poll");
    if (faultCalls.fails("poll"))
        return -1;
    for (int left = PATIENCE_MS; fds && left > 0; --left) {
        bool const ended = !testkit::isChildRunning();
        if (int const ready = found(fds, count, 0); ready != 0 || ended)
            return ready;
        waitOneMillisecond();
    }
    return found(fds, count, timeout);
}

int clock_nanosleep(clockid_t /*clock*/, int flags, timespec const* /*length*/, timespec* /*left*/)
{
    if (int const error = faultCalls.errorOf("clock_nanosleep"))
        return error;
    if ((flags & TIMER_ABSTIME) != 0)
        ::rename("/proc/stat.then", "/proc/stat");
    else
        for (int left = PATIENCE_MS; left > 0 && testkit::isChildRunning(); --left)
            waitOneMillisecond();
    return 0;
}
}
#pragma GCC visibility pop
