#include "tests/sysinfo/DiskCalls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace testkit {

namespace {

constexpr unsigned long GET_SCSI_BUS_NUMBER = 0x5386;

DiskCalls* current = nullptr;

bool isFile(int fd, std::string const& path)
{
    struct stat open { };
    struct stat named { };
    return ::fstat(fd, &open) == 0 && ::stat(path.c_str(), &named) == 0
        && open.st_dev == named.st_dev && open.st_ino == named.st_ino;
}

bool findFake(std::map<std::string, int> const& fakes, int fd, void* out)
{
    for (auto const& [path, number] : fakes) {
        if (isFile(fd, path)) {
            *static_cast<int*>(out) = number;
            return true;
        }
    }
    return false;
}

bool interruptFrom(std::map<std::string, unsigned>& left, char const* path)
{
    auto const found = left.find(path);
    if (found == left.end() || found->second == 0)
        return false;
    --found->second;
    errno = EINTR;
    return true;
}

/** @return the C library's function, or a sanitizer's wrapper of it. */
template <class Function> Function next(char const* name)
{
    auto const function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    if (!function)
        std::abort();
    return function;
}

}

DiskCalls::DiskCalls()
{
    current = this;
}

DiskCalls::~DiskCalls()
{
    current = nullptr;
}

void DiskCalls::filesystem(std::string const& mountPoint, struct statvfs const& status)
{
    m_filesystems[mountPoint] = status;
}

void DiskCalls::forget()
{
    m_opened.clear();
    m_statvfsPaths.clear();
    m_realpaths = 0;
    m_entriesLookedAt = 0;
}

bool DiskCalls::fakeIoctl(int fd, unsigned long request, void* out)
{
    if (request == BLKSSZGET)
        return findFake(m_sectorSizes, fd, out);
    return request == GET_SCSI_BUS_NUMBER && findFake(m_buses, fd, out);
}

bool DiskCalls::fakeStatvfs(char const* path, struct statvfs* out)
{
    m_statvfsPaths.emplace_back(path);
    auto const found = m_filesystems.find(path);
    if (found == m_filesystems.end())
        return false;
    *out = found->second;
    return true;
}

bool DiskCalls::isOpenInterrupted(char const* path, int flags)
{
    m_opened.push_back({path, flags});
    return interruptFrom(m_interrupts, path);
}

bool DiskCalls::isStatvfsInterrupted(char const* path)
{
    return interruptFrom(m_interruptsOfStatvfs, path);
}

struct statvfs filesystemOf(
    unsigned long long blocks, unsigned long long freeBlocks, unsigned long blockSize)
{
    struct statvfs status { };
    status.f_bsize = blockSize;
    status.f_blocks = blocks;
    status.f_bfree = freeBlocks;
    // Fields that the library must not read.
    status.f_frsize = 1;
    status.f_bavail = 3;
    return status;
}

}

// With 64-bit offsets, the headers rename open, fstatat and statvfs to their 64-bit names.
#pragma GCC visibility push(default)
extern "C" {

int ioctl(int fd, unsigned long request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*); // As in the C library.
    va_end(arguments);
    if (testkit::current && testkit::current->fakeIoctl(fd, request, argument))
        return 0;
    static auto const real = testkit::next<int (*)(int, unsigned long, ...)>("ioctl");
    return real(fd, request, argument);
}

int statvfs(char const* path, struct statvfs* out) noexcept
{
    if (testkit::current && testkit::current->isStatvfsInterrupted(path))
        return -1;
    if (testkit::current && testkit::current->fakeStatvfs(path, out))
        return 0;
    static auto const real = testkit::next<int (*)(char const*, struct statvfs*)>("statvfs64");
    return real(path, out);
}

int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    auto const mode = va_arg(arguments, mode_t); // Unused without O_CREAT.
    va_end(arguments);
    if (testkit::current && testkit::current->isOpenInterrupted(path, flags))
        return -1;
    static auto const real = testkit::next<int (*)(char const*, int, ...)>("open64");
    return real(path, flags, mode);
}

int fstatat(int folder, char const* name, struct stat* out, int flags) noexcept
{
    if (testkit::current && folder != AT_FDCWD)
        testkit::current->countEntry();
    static auto const real =
        testkit::next<int (*)(int, char const*, struct stat*, int)>("fstatat64");
    return real(folder, name, out, flags);
}

char* realpath(char const* path, char* resolved) noexcept
{
    if (testkit::current)
        testkit::current->countRealpath();
    static auto const real = testkit::next<char* (*)(char const*, char*)>("realpath");
    return real(path, resolved);
}
}
#pragma GCC visibility pop
