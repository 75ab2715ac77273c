#include "tests/sysinfo/FaultStandIns.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>

using testkit::faultCalls;
using testkit::theRealOne;

#pragma GCC visibility push(default)
extern "C" {

FAULT_CALL(int, fstat, "fstat64", -1, (int fd, struct stat* out), (fd, out), noexcept)
FAULT_CALL(int, stat, "stat64", -1, (char const* path, struct stat* out), (path, out), noexcept)
FAULT_CALL(int, fstatat, "fstatat64", -1,
    (int folder, char const* path, struct stat* out, int flags), (folder, path, out, flags),
    noexcept)
FAULT_CALL(int, lstat, "lstat64", -1, (char const* path, struct stat* out), (path, out), noexcept)
FAULT_CALL(int, access, "access", -1, (char const* path, int mode), (path, mode), noexcept)
FAULT_CALL(
    char*, realpath, "realpath", nullptr, (char const* path, char* out), (path, out), noexcept)
FAULT_CALL(ssize_t, readlink, "readlink", -1, (char const* path, char* out, size_t size),
    (path, out, size), noexcept)
FAULT_CALL(DIR*, opendir, "opendir", nullptr, (char const* path), (path), )
FAULT_CALL(dirent*, readdir, "readdir64", nullptr, (DIR * folder), (folder), )
FAULT_CALL_RELEASING(closedir, DIR* folder, folder)
FAULT_CALL_RELEASING(close, int fd, fd)
FAULT_CALL(int, gethostname, "gethostname", -1, (char* name, size_t size), (name, size), noexcept)

int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    auto const mode = va_arg(arguments, mode_t); // Unused without O_CREAT.
    va_end(arguments);
    static auto const found = theRealOne<int (*)(char const*, int, ...)>("open64");
    return faultCalls.fails("open") ? -1 : found(path, flags, mode);
}

ssize_t read(int fd, void* buffer, size_t size)
{
    static auto const found = theRealOne<ssize_t (*)(int, void*, size_t)>("read");
    int const error = faultCalls.errorOf("read");
    if (error > 0) {
        errno = error;
        return -1;
    }
    return found(fd, buffer, error == testkit::ONE_BYTE ? std::min<size_t>(size, 1) : size);
}

ssize_t write(int fd, void const* data, size_t size)
{
    static auto const found = theRealOne<ssize_t (*)(int, void const*, size_t)>("write");
    int const error = faultCalls.errorOf("write");
    if (error > 0) {
        errno = error;
        return -1;
    }
    return found(fd, data, error == testkit::ONE_BYTE ? std::min<size_t>(size, 1) : size);
}

int ioctl(int fd, unsigned long request, ...) noexcept
{
    constexpr unsigned long GET_SCSI_BUS_NUMBER = 0x5386;
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*); // As in the C library.
    va_end(arguments);
    if (faultCalls.fails("ioctl"))
        return -1;
    if (request == BLKSSZGET) {
        *static_cast<int*>(argument) = 512;
        return 0;
    }
    if (request == GET_SCSI_BUS_NUMBER) {
        *static_cast<int*>(argument) = static_cast<int>(::lseek(fd, 0, SEEK_END));
        return 0;
    }
    static auto const found = theRealOne<int (*)(int, unsigned long, ...)>("ioctl");
    return found(fd, request, argument);
}

int statvfs(char const* /*path*/, struct statvfs* out) noexcept
{
    if (faultCalls.fails("statvfs"))
        return -1;
    *out = {};
    out->f_bsize = 4096;
    out->f_blocks = 1000;
    out->f_bfree = 100;
    return 0;
}
}
#pragma GCC visibility pop
