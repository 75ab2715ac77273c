// Opens and reads files. On 32 bits it must define both functions of a pair such as open and
// open64, and the macro makes one of them the other.
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
    if (!answersCalls())
        return path;
    static auto* const realLstat = real<int(char const*, struct stat64*)>("lstat64");
    struct stat64 status { };
    std::string later = stage().answers + "/later" + path;
    if (preload::isLater() && realLstat(later.c_str(), &status) == 0)
        return later;
    std::string const first = stage().answers + "/root" + path;
    return isThere(first) ? first : path;
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
    // Not destroyed: files are closed at the end of the program, too.
    static auto& paths = *new std::map<int, std::string>;
    return paths;
}

/** Gives the copy of a number the path of the original. @return the result of the call. */
int copied(int file, int copy, int result)
{
    if (result < 0 || file == copy || !isRecording())
        return result;
    int const error = errno;
    if (std::string const path = preload::pathOf(file); path.empty())
        preload::noteClosed(copy);
    else
        preload::noteOpened(copy, path);
    errno = error;
    return result;
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

/** The errors of read(2) by path. */
std::map<std::string, int> readErrors()
{
    std::map<std::string, int> errors;
    for (auto const& [path, refusal] : answers().refusals)
        if (refusal.read != 0)
            errors[path] = refusal.read;
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
    static auto const errors = preload::byFile(readErrors());
    auto const found = errors.find({opened.st_dev, opened.st_ino});
    return found == errors.end() ? 0 : found->second;
}

/**
 * Fills the buffer where it reads from a tool's pseudo-terminal: the library ignores a line of the
 * modules that lies in two pieces, and the pieces would depend on who is faster. Waits for the
 * first byte, too: the library does so for ten rounds of 20 ms, too short on a busy machine.
 * @return the bytes; -1 if there are none, with the reason in `errno`
 */
ssize_t fillFromTerminal(int file, char* text, size_t size, size_t filled)
{
    static auto* const next = real<ssize_t(int, void*, size_t)>("read");
    while (filled < size) {
        constexpr int FIRST_PAUSE_MS = 200;
        constexpr int PAUSE_MS = 1000; // The tool waits for something: what has come is all.
        pollfd wait = {file, POLLIN, 0};
        if (poll(&wait, 1, filled == 0 ? FIRST_PAUSE_MS : PAUSE_MS) <= 0)
            break;
        ssize_t const count = next(file, text + filled, size - filled);
        if (count <= 0)
            break;
        filled += static_cast<size_t>(count);
    }
    return filled > 0 ? static_cast<ssize_t>(filled) : next(file, text, size);
}

}

void preload::noteOpened(int file, std::string const& path)
{
    openedPaths()[file] = path;
}

void preload::noteClosed(int file)
{
    openedPaths().erase(file);
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

ANSWERED int fclose(FILE* stream)
{
    static auto* const next = real<int(FILE*)>("fclose");
    preload::noteClosed(fileno(stream));
    return next(stream);
}

ANSWERED int dup2(int file, int copy) noexcept
{
    static auto* const next = real<int(int, int)>("dup2");
    return copied(file, copy, next(file, copy));
}

ANSWERED int dup3(int file, int copy, int flags) noexcept
{
    static auto* const next = real<int(int, int, int)>("dup3");
    return copied(file, copy, next(file, copy, flags));
}

ANSWERED ssize_t read(int file, void* out, size_t size)
{
    static auto* const next = real<ssize_t(int, void*, size_t)>("read");
    if (int const error = readError(file); error != 0) {
        errno = error;
        return -1;
    }
    ssize_t const count = next(file, out, size);
    int const error = errno;
    bool const mayFollow = count > 0 || (count < 0 && error == EAGAIN);
    int number = 0;
    if (mayFollow && answersCalls() && ioctl(file, TIOCGPTN, &number) == 0)
        return fillFromTerminal(
            file, static_cast<char*>(out), size, count > 0 ? static_cast<size_t>(count) : 0);
    errno = error;
    return count;
}
