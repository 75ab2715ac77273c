// Files and folders. On 32 bits it must define both functions of a pair such as open and open64,
// and the macro makes one of them the other.
#undef _FILE_OFFSET_BITS

#include "app/recording/preload/files.h"
#include "app/recording/answer_line.h"
#include "app/recording/preload/answers.h"
#include "app/recording/preload/clock.h"
#include "app/recording/preload/stage.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <utility>

using app::asWord;
using app::errorName;
using preload::Answers;
using preload::answers;
using preload::answersCalls;
using preload::isOwn;
using preload::isRecording;
using preload::real;
using preload::refusalOf;
using preload::stage;

namespace {

constexpr size_t MOST_CONTENT = 1024 * 1024; // The rest is counted.
constexpr uint64_t MOST_READ = uint64_t{16} * 1024 * 1024; // A file that never ends ends here.

bool startsWith(std::string const& text, char const* prefix)
{
    return text.rfind(prefix, 0) == 0;
}

bool isBelow(std::string const& path, std::string const& folder)
{
    return !folder.empty() && startsWith(path, (folder + "/").c_str());
}

}

bool preload::isOwn(std::string const& path)
{
    static std::array<char const*, 6> const OWN = {
        "/proc/self/fd/", "/dev/pts", "/dev/ptmx", "/dev/tty", "/dev/null", "/dev/urandom"};
    return path.empty() || path[0] != '/' || isBelow(path, stage().answers)
        || isBelow(path, stage().record)
        || std::any_of(
            OWN.begin(), OWN.end(), [&path](char const* own) { return startsWith(path, own); });
}

namespace {

bool isThere(std::string const& path)
{
    static auto* const next = real<int(char const*, struct stat64*)>("stat64");
    struct stat64 status { };
    return next(path.c_str(), &status) == 0;
}

void makeFoldersOf(std::string const& path)
{
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0700);
}

/** Reads a file to its end. @return 0 or errno. */
int readWhole(int file, std::string& content, uint64_t& size)
{
    static auto* const next = real<ssize_t(int, void*, size_t)>("read");
    std::array<char, 65536> piece;
    while (size < MOST_READ) {
        ssize_t const count = next(file, piece.data(), piece.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return count < 0 ? errno : 0;
        content.append(
            piece.data(), std::min(static_cast<size_t>(count), MOST_CONTENT - content.size()));
        size += static_cast<uint64_t>(count);
    }
    return 0;
}

}

Answers::Refusal const* preload::refusalOf(std::string const& path)
{
    if (!answersCalls() || isOwn(path))
        return nullptr;
    auto const found = answers().refusals.find(path);
    return found == answers().refusals.end() ? nullptr : &found->second;
}

namespace {

/** Logs how a regular file opened and was read, and keeps its content at @p place. */
void keepOpened(int file, std::string const& path, std::string const& place)
{
    static auto* const next = real<int(char const*, int, ...)>("open64");
    std::string content;
    uint64_t size = 0;
    Answers::Refusal const* const refusal = refusalOf(path);
    int const error =
        refusal && refusal->read != 0 ? refusal->read : readWhole(file, content, size);
    preload::log("open", asWord(path) + " 0");
    if (error != 0) {
        preload::log("read", asWord(path) + " " + errorName(error));
        return;
    }
    makeFoldersOf(place);
    int const copy = next(place.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode_t{0600});
    if (copy < 0
        || write(copy, content.data(), content.size()) != static_cast<ssize_t>(content.size()))
        preload::noteLoss();
    if (copy >= 0)
        close(copy);
    preload::log("size", asWord(path) + " " + std::to_string(size));
}

/** Makes the recording's copy of a regular file, which is read at @p source. */
void keep(std::string const& path, std::string const& source, std::string const& place)
{
    static auto* const next = real<int(char const*, int, ...)>("open64");
    static auto* const realFstat = real<int(int, struct stat64*)>("fstat64");
    int const file = next(source.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    struct stat64 status { };
    if (file < 0)
        preload::log("open", asWord(path) + " " + errorName(errno));
    else if (realFstat(file, &status) == 0 && S_ISREG(status.st_mode))
        keepOpened(file, path, place);
    else
        preload::log("look", asWord(path));
    if (file >= 0)
        close(file);
}

/** @return the file that has the recorded content of a path; the path where there is none. */
std::string answeredPlace(std::string const& path)
{
    std::string place = stage().answers + "/later" + path;
    if (!preload::isLater() || !isThere(place))
        place = stage().answers + "/root" + path;
    return answersCalls() && isThere(place) ? place : path;
}

/** @return the file to open in place of @p path. */
std::string placeOf(char const* path)
{
    if (isOwn(path) || (!answersCalls() && !isRecording()))
        return path;
    int const error = errno;
    bool const isSample = std::strcmp(path, "/proc/stat") == 0;
    if (isSample)
        preload::noteSample();
    std::string place = answeredPlace(path);
    if (isRecording()) {
        bool const isSecond = isSample && preload::isLater();
        std::string const copy = stage().record + (isSecond ? "/later" : "/root") + path;
        if (isThere(copy))
            preload::log("open", asWord(path) + " 0");
        else
            keep(path, place, copy);
        if (isThere(copy))
            place = copy;
    }
    errno = error;
    return place;
}

/** @return 0, or the recorded errno of open(2). */
int openError(char const* path, int flags)
{
    Answers::Refusal const* const refusal = refusalOf(path);
    int const error = refusal && (flags & O_PATH) == 0 ? refusal->open : 0;
    if (error != 0 && isRecording())
        preload::log("open", asWord(path) + " " + errorName(error));
    return error;
}

/** What open(2) does with its third argument, which is there only where a file may be created. */
mode_t modeIn(int flags, va_list arguments)
{
    bool const creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
    return creates ? va_arg(arguments, mode_t) : 0;
}

bool isReading(int flags)
{
    return (flags & O_ACCMODE) == O_RDONLY && (flags & (O_CREAT | O_DIRECTORY)) == 0;
}

std::map<int, std::string>& openedPaths()
{
    static std::map<int, std::string> paths;
    return paths;
}

int openFor(char const* path, int flags, mode_t mode, char const* function)
{
    auto* const next = real<int(char const*, int, ...)>(function);
    if (!isReading(flags))
        return next(path, flags, mode);
    if (int const error = openError(path, flags); error != 0) {
        errno = error;
        return -1;
    }
    // A node has no content to keep, and its number tells which one is open.
    bool const isNode = startsWith(path, "/dev/");
    int const file = next(isNode ? path : placeOf(path).c_str(), flags, mode);
    if (isNode && isRecording() && !isOwn(path))
        preload::log("open", asWord(path) + " " + (file < 0 ? errorName(errno) : "0"));
    if (file >= 0 && isRecording())
        preload::noteOpened(file, path);
    return file;
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
    if (!isNode
        && (startsWith(path, "/sys/") || startsWith(path, "/proc/") || startsWith(path, "/dev/")))
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
    static auto* const next = real<int(char const*, struct stat64*)>("stat64");
    for (auto const& [node, number] : answers().blockDevices) {
        struct stat64 place { };
        if (!S_ISREG(status.st_mode) || next(node.c_str(), &place) != 0
            || place.st_ino != status.st_ino || place.st_dev != status.st_dev)
            continue;
        status.st_mode = (status.st_mode & ~mode_t{S_IFMT}) | S_IFBLK;
        status.st_rdev = makedev(number.first, number.second);
        return;
    }
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

template <typename Status>
int statIn(int folder, char const* name, Status& status, int flags, char const* function)
{
    std::string const path =
        name[0] == '/' ? name : std::string(preload::pathOf(folder)) + "/" + name;
    logLook(path.c_str());
    return withNumbers(
        real<int(int, char const*, Status*, int)>(function)(folder, name, &status, flags),
        path.c_str(), status);
}

FILE* openStream(char const* path, char const* mode, char const* function)
{
    auto* const next = real<FILE*(char const*, char const*)>(function);
    if (mode[0] != 'r' || std::strchr(mode, '+'))
        return next(path, mode);
    if (int const error = openError(path, 0); error != 0) {
        errno = error;
        return nullptr;
    }
    return next(placeOf(path).c_str(), mode);
}

using FileIdentity = std::pair<dev_t, ino64_t>;

/** The errors of read(2) by the files that stand for the unreadable ones. */
std::map<FileIdentity, int> readErrors()
{
    static auto* const realStat = real<int(char const*, struct stat64*)>("stat64");
    std::map<FileIdentity, int> errors;
    for (auto const& [path, refusal] : answers().refusals) {
        struct stat64 status { };
        if (refusal.read != 0 && realStat(path.c_str(), &status) == 0)
            errors[{status.st_dev, status.st_ino}] = refusal.read;
    }
    return errors;
}

/** @return 0, or the recorded errno of read(2). */
int readError(int file)
{
    static auto* const realFstat = real<int(int, struct stat64*)>("fstat64");
    struct stat64 opened { };
    if (!answersCalls() || answers().refusals.empty() || realFstat(file, &opened) != 0
        || !S_ISREG(opened.st_mode))
        return 0;
    static std::map<FileIdentity, int> const errors = readErrors();
    auto const found = errors.find({opened.st_dev, opened.st_ino});
    return found == errors.end() ? 0 : found->second;
}

/**
 * Fills the buffer where it reads from a tool's pseudo-terminal: the library ignores a line of the
 * modules that lies in two pieces, and the pieces would depend on who is faster.
 */
ssize_t fillFromTerminal(int file, char* text, size_t size, size_t filled)
{
    static auto* const next = real<ssize_t(int, void*, size_t)>("read");
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

}

void preload::noteOpened(int file, std::string const& path)
{
    openedPaths()[file] = path;
}

std::string preload::pathOf(int file)
{
    auto const found = openedPaths().find(file);
    return found == openedPaths().end() ? std::string() : found->second;
}

ANSWERED int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = modeIn(flags, arguments);
    va_end(arguments);
    return openFor(path, flags, mode, "open");
}

ANSWERED int open64(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t const mode = modeIn(flags, arguments);
    va_end(arguments);
    return openFor(path, flags, mode, "open64");
}

ANSWERED FILE* fopen(char const* path, char const* mode)
{
    return openStream(path, mode, "fopen");
}

ANSWERED FILE* fopen64(char const* path, char const* mode)
{
    return openStream(path, mode, "fopen64");
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

ANSWERED ssize_t read(int file, void* out, size_t size)
{
    static auto* const next = real<ssize_t(int, void*, size_t)>("read");
    if (int const error = readError(file); error != 0) {
        errno = error;
        return -1;
    }
    ssize_t const count = next(file, out, size);
    int number = 0;
    if (count <= 0 || !answersCalls() || ioctl(file, TIOCGPTN, &number) != 0)
        return count;
    return fillFromTerminal(file, static_cast<char*>(out), size, static_cast<size_t>(count));
}
