// Looks for files: their kind, numbers and targets. On 32 bits it must define both functions of a
// pair such as stat and stat64, and the macro makes one of them the other.
#undef _FILE_OFFSET_BITS

#include "app/recording/answer_line.h"
#include "app/recording/preload/answers.h"
#include "app/recording/preload/files.h"
#include "app/recording/preload/stage.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <string>

using app::asWord;
using preload::answers;
using preload::answersCalls;
using preload::isOwn;
using preload::isRecording;
using preload::real;

namespace {

bool isOfKernel(std::string const& path)
{
    return path.rfind("/sys/", 0) == 0 || path.rfind("/proc/", 0) == 0
        || path.rfind("/dev/", 0) == 0;
}

void logLook(char const* path)
{
    if (isRecording() && path && !isOwn(path))
        preload::log("look", asWord(path));
}

/** Logs the numbers of a node or, outside the kernel's own filesystems, of the device that a file
 * lies on. */
template <typename Status> void logNumbers(char const* path, Status const& status)
{
    if (!isRecording() || isOwn(path))
        return;
    bool const isNode = S_ISBLK(status.st_mode);
    if (!isNode && isOfKernel(path))
        return;
    dev_t const number = isNode ? status.st_rdev : status.st_dev;
    preload::logAnswer((isNode ? "device " : "lies-on ") + asWord(path) + " "
        + std::to_string(major(number)) + " " + std::to_string(minor(number)));
}

/** Makes the status that of the recorded node, whose place a regular file takes. */
template <typename Status> void answerNumbers(char const* path, Status& status)
{
    if (!answersCalls() || isOwn(path))
        return;
    if (auto const found = answers().fileDevices.find(path); found != answers().fileDevices.end())
        status.st_dev = makedev(found->second.first, found->second.second);
    static auto const devices = preload::byFile(answers().blockDevices);
    auto const device = devices.find({status.st_dev, status.st_ino});
    if (!S_ISREG(status.st_mode) || device == devices.end())
        return;
    status.st_mode = (status.st_mode & ~mode_t{S_IFMT}) | S_IFBLK;
    status.st_rdev = makedev(device->second.first, device->second.second);
}

template <typename Status> int withNumbers(int result, char const* path, Status& status)
{
    int const error = errno;
    if (result == 0) {
        answerNumbers(path, status);
        logNumbers(path, status);
    }
    errno = error;
    return result;
}

template <typename Status> int statOf(char const* path, Status& status, char const* function)
{
    logLook(path);
    return withNumbers(real<int(char const*, Status*)>(function)(path, &status), path, status);
}

/** @return the path of a name in an opened folder; a relative one where that is not known. */
std::string pathIn(int folder, char const* name)
{
    std::string const place = name[0] == '/' ? std::string() : preload::pathOf(folder);
    return place.empty() ? name : place + "/" + name;
}

template <typename Status>
int statIn(int folder, char const* name, Status& status, int flags, char const* function)
{
    std::string const path = pathIn(folder, name);
    logLook(path.c_str());
    return withNumbers(
        real<int(int, char const*, Status*, int)>(function)(folder, name, &status, flags),
        path.c_str(), status);
}

}

ANSWERED int stat(char const* path, struct stat* status) noexcept
{
    return statOf(path, *status, "stat");
}

ANSWERED int stat64(char const* path, struct stat64* status) noexcept
{
    return statOf(path, *status, "stat64");
}

ANSWERED int lstat(char const* path, struct stat* status) noexcept
{
    return statOf(path, *status, "lstat");
}

ANSWERED int lstat64(char const* path, struct stat64* status) noexcept
{
    return statOf(path, *status, "lstat64");
}

ANSWERED int fstatat(int folder, char const* name, struct stat* status, int flags) noexcept
{
    return statIn(folder, name, *status, flags, "fstatat");
}

ANSWERED int fstatat64(int folder, char const* name, struct stat64* status, int flags) noexcept
{
    return statIn(folder, name, *status, flags, "fstatat64");
}

ANSWERED int access(char const* path, int mode) noexcept
{
    static auto* const next = real<int(char const*, int)>("access");
    logLook(path);
    return next(path, mode);
}

ANSWERED int faccessat(int folder, char const* path, int mode, int flags) noexcept
{
    static auto* const next = real<int(int, char const*, int, int)>("faccessat");
    logLook(path);
    return next(folder, path, mode, flags);
}

ANSWERED ssize_t readlink(char const* path, char* out, size_t size) noexcept
{
    static auto* const next = real<ssize_t(char const*, char*, size_t)>("readlink");
    logLook(path);
    return next(path, out, size);
}

ANSWERED char* realpath(char const* path, char* out) noexcept
{
    static auto* const next = real<char*(char const*, char*)>("realpath");
    logLook(path);
    return next(path, out);
}

/** Boost.Filesystem calls statx(2) by its number. */
ANSWERED long syscall(long number, ...) noexcept
{
    static auto* const next = real<long(long, ...)>("syscall");
    constexpr size_t MOST_ARGUMENTS = 6; // syscall(2); those that are not there do not matter.
    std::array<long, MOST_ARGUMENTS> words{};
    // NOLINTBEGIN(clang-analyzer-valist.Uninitialized): va_start has initialized it.
    va_list arguments;
    va_start(arguments, number);
    for (long& word : words)
        word = va_arg(arguments, long);
    va_end(arguments);
    // NOLINTEND(clang-analyzer-valist.Uninitialized)
    if (number == SYS_statx)
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the call has its arguments as numbers.
        if (auto const* const path = reinterpret_cast<char const*>(words[1]); path && *path)
            logLook(pathIn(static_cast<int>(words[0]), path).c_str());
    return next(number, words[0], words[1], words[2], words[3], words[4], words[5]);
}
