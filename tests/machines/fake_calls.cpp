// The answers of the C library's calls on a fake machine: a shared object for LD_PRELOAD, ld.so(8).
//
// It must define both functions of a pair such as statvfs and statvfs64 on 32 bits, and the macro
// makes one of them the other.
#undef _FILE_OFFSET_BITS

#include "tests/machines/Calls.h"
#include "tests/machines/build_entry.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <limits>
#include <string>

namespace {

using machines::Calls;
using machines::calls;

/** A sleep as long as this separates two samples of the kernel's counters. */
constexpr long LONG_SLEEP_NS = 250'000'000;

/** Of the kernel's <scsi/scsi_ioctl.h>, which the C library's header of that name leaves out. */
constexpr unsigned long SCSI_IOCTL_GET_BUS_NUMBER = 0x5386;

/** Files that take the place of others once the program has slept between two samples. */
constexpr char const* LATER_FOLDER = "/testkit/later";

std::atomic<bool> later = false;

/** The C library's function of a name, behind the one in here. */
template <typename Function> Function* real(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

int realIoctl(int file, unsigned long request, void* argument)
{
    static auto* const next = real<int(int, unsigned long, ...)>("ioctl");
    return next(file, request, argument);
}

/** The program's tools, which may be of another width, must not get this object. */
__attribute__((constructor)) void hideFromChildren()
{
    unsetenv("LD_PRELOAD");
    unsetenv("LD_LIBRARY_PATH");
}

/** Whoever samples the counters without a long sleep between has done other work meanwhile. */
void noteSample()
{
    using Clock = std::chrono::steady_clock;
    constexpr auto BETWEEN_SAMPLES = std::chrono::milliseconds(900);
    static Clock::time_point const first = Clock::now();
    if (Clock::now() - first > BETWEEN_SAMPLES)
        later = true;
}

std::string placeNow(char const* path)
{
    if (std::strcmp(path, "/proc/stat") == 0)
        noteSample();
    std::string const replacement = std::string(LATER_FOLDER) + path;
    return later && path[0] == '/' && access(replacement.c_str(), F_OK) == 0 ? replacement : path;
}

/** @return false where the sleep is no wait between two samples. */
bool answerSleep(timespec const& length)
{
    if (length.tv_sec == 0 && length.tv_nsec < LONG_SLEEP_NS)
        return false;
    later = true;
    return true;
}

[[noreturn]] void waitForEver()
{
    int const fifo = open(machines::RUNNING_FIFO, O_RDONLY | O_CLOEXEC);
    char byte = 0;
    while (read(fifo, &byte, 1) < 0 && errno == EINTR) { }
    // The test is over.
    _exit(EXIT_FAILURE);
}

template <typename Status> int answerStatvfs(char const* path, Status& status)
{
    auto const found = calls().filesystems.find(path);
    if (found == calls().filesystems.end()) {
        errno = ENOENT;
        return -1;
    }
    Calls::Filesystem const& filesystem = found->second;
    if (filesystem.hangs)
        waitForEver();
    errno = filesystem.error;
    if (filesystem.error != 0)
        return -1;
    std::memset(&status, 0, sizeof status);
    auto const& figures = filesystem.figures;
    status.f_bsize = static_cast<unsigned long>(figures[0]);
    status.f_frsize = static_cast<unsigned long>(figures[1]);
    decltype(status.f_blocks)* const fields[] = {
        &status.f_blocks, &status.f_bfree, &status.f_bavail, &status.f_files, &status.f_ffree};
    for (size_t i = 0; i < std::size(fields); ++i) {
        uint64_t const figure = figures[i + 2];
        if (figure > std::numeric_limits<decltype(status.f_blocks)>::max()) {
            errno = EOVERFLOW;
            return -1;
        }
        *fields[i] = static_cast<decltype(status.f_blocks)>(figure);
    }
    status.f_favail = status.f_ffree;
    status.f_namemax = NAME_MAX;
    return 0;
}

/** @return null for a file that is no device of the machine. */
Calls::Sector const* deviceOf(int file)
{
    struct stat opened { };
    if (fstat(file, &opened) != 0 || !S_ISREG(opened.st_mode))
        return nullptr;
    for (auto const& [path, sector] : calls().sectors) {
        struct stat device { };
        if (stat(path.c_str(), &device) == 0 && device.st_dev == opened.st_dev
            && device.st_ino == opened.st_ino)
            return &sector;
    }
    return nullptr;
}

int answerDevice(Calls::Sector const& device, unsigned long request, void* out)
{
    if (request == SCSI_IOCTL_GET_BUS_NUMBER && device.bus) {
        *static_cast<int*>(out) = *device.bus;
        return 0;
    }
    if (request == BLKSSZGET && device.error == 0) {
        *static_cast<int*>(out) = device.size;
        return 0;
    }
    errno = request == BLKSSZGET ? device.error : ENOTTY;
    return -1;
}

}

ANSWERED int statvfs(char const* path, struct statvfs* status) noexcept
{
    return answerStatvfs(path, *status);
}

ANSWERED int statvfs64(char const* path, struct statvfs64* status) noexcept
{
    return answerStatvfs(path, *status);
}

ANSWERED int uname(utsname* out) noexcept
{
    std::memset(out, 0, sizeof *out);
    std::string("Linux").copy(out->sysname, sizeof out->sysname - 1);
    calls().hostName.copy(out->nodename, sizeof out->nodename - 1);
    calls().release.copy(out->release, sizeof out->release - 1);
    std::string("#1 SMP").copy(out->version, sizeof out->version - 1);
    calls().architecture.copy(out->machine, sizeof out->machine - 1);
    return 0;
}

ANSWERED int gethostname(char* out, size_t size) noexcept
{
    std::string const& name = calls().hostName;
    if (name.size() >= size) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(out, name.c_str(), name.size() + 1);
    return 0;
}

ANSWERED int ioctl(int file, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (Calls::Sector const* const device = deviceOf(file))
        return answerDevice(*device, request, argument);
    return realIoctl(file, request, argument);
}

ANSWERED long sysconf(int name) noexcept
{
    if (name == _SC_NPROCESSORS_ONLN)
        return calls().processorsOnline;
    if (name == _SC_NPROCESSORS_CONF)
        return calls().processorsConfigured;
    static auto* const next = real<long(int)>("sysconf");
    return next(name);
}

/** The library's own routine reads the firmware's texts; the code comes from the machine's file, as
 * the processor's own report cannot be faked. */
ANSWERED int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    static auto* const next = real<int(char*, char*, char*, int*)>("getsysinfo");
    int const result = next(vendor, product, version, code);
    *code = std::max(calls().hypervisor.value_or(0), 0);
    bool const allEmpty = *vendor == '\0' && *product == '\0' && *version == '\0';
    return allEmpty && calls().hypervisor.value_or(0) < 0 ? -1 : result;
}

ANSWERED time_t time(time_t* out) noexcept
{
    static auto* const next = real<time_t(time_t*)>("time");
    time_t const now = calls().time ? static_cast<time_t>(*calls().time) : next(nullptr);
    if (out)
        *out = now;
    return now;
}

ANSWERED int clock_gettime(clockid_t clock, timespec* out) noexcept
{
    static auto* const next = real<int(clockid_t, timespec*)>("clock_gettime");
    if (clock != CLOCK_REALTIME || !calls().time)
        return next(clock, out);
    *out = {static_cast<time_t>(*calls().time), 0};
    return 0;
}

ANSWERED int nanosleep(timespec const* length, timespec* left)
{
    static auto* const next = real<int(timespec const*, timespec*)>("nanosleep");
    return answerSleep(*length) ? 0 : next(length, left);
}

ANSWERED int clock_nanosleep(clockid_t clock, int flags, timespec const* end, timespec* left)
{
    static auto* const next =
        real<int(clockid_t, int, timespec const*, timespec*)>("clock_nanosleep");
    timespec length = *end;
    if (flags & TIMER_ABSTIME) {
        timespec now{};
        clock_gettime(clock, &now);
        constexpr long SECOND_NS = 1'000'000'000;
        length = {end->tv_sec - now.tv_sec, end->tv_nsec - now.tv_nsec};
        if (length.tv_nsec < 0)
            length = {length.tv_sec - 1, length.tv_nsec + SECOND_NS};
    }
    return length.tv_sec >= 0 && answerSleep(length) ? 0 : next(clock, flags, end, left);
}

ANSWERED int usleep(useconds_t length)
{
    constexpr useconds_t SECOND = 1'000'000;
    constexpr long NANOSECONDS = 1000;
    timespec const time = {
        static_cast<time_t>(length / SECOND), static_cast<long>(length % SECOND) * NANOSECONDS};
    return nanosleep(&time, nullptr);
}

namespace {

/** What open(2) does with its third argument, which is there only where a file may be created. */
mode_t modeIn(int flags, va_list arguments)
{
    bool const creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg(arguments, mode_t) : 0;
}

}

ANSWERED int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = modeIn(flags, arguments);
    va_end(arguments);
    static auto* const next = real<int(char const*, int, ...)>("open");
    return next(placeNow(path).c_str(), flags, mode);
}

ANSWERED int open64(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = modeIn(flags, arguments);
    va_end(arguments);
    static auto* const next = real<int(char const*, int, ...)>("open64");
    return next(placeNow(path).c_str(), flags, mode);
}

/**
 * Fills the buffer where it reads from a tool's pseudo-terminal: the library ignores a line of the
 * modules that lies in two pieces, and the pieces would depend on who is faster.
 */
ANSWERED ssize_t read(int file, void* out, size_t size)
{
    static auto* const next = real<ssize_t(int, void*, size_t)>("read");
    ssize_t const first = next(file, out, size);
    int number = 0;
    if (first <= 0 || realIoctl(file, TIOCGPTN, &number) != 0)
        return first;
    auto* const text = static_cast<char*>(out);
    auto filled = static_cast<size_t>(first);
    while (filled < size) {
        constexpr int PAUSE_MS = 1000; // The tool waits for something: what has come is all.
        pollfd wait = {file, POLLIN, 0};
        if (poll(&wait, 1, PAUSE_MS) <= 0)
            break;
        ssize_t const count = next(file, text + filled, size - filled);
        if (count <= 0)
            break;
        filled += static_cast<size_t>(count);
    }
    return static_cast<ssize_t>(filled);
}

ANSWERED FILE* fopen(char const* path, char const* mode)
{
    static auto* const next = real<FILE*(char const*, char const*)>("fopen");
    return next(placeNow(path).c_str(), mode);
}

ANSWERED FILE* fopen64(char const* path, char const* mode)
{
    static auto* const next = real<FILE*(char const*, char const*)>("fopen64");
    return next(placeNow(path).c_str(), mode);
}
