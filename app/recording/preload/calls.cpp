// The answers of calls that read no file. On 32 bits it must define both functions of a pair such
// as statvfs and statvfs64, and the macro makes one of them the other.
#undef _FILE_OFFSET_BITS

#include "app/recording/answer_line.h"
#include "app/recording/preload/answers.h"
#include "app/recording/preload/files.h"
#include "app/recording/preload/stage.h"

#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <limits>
#include <string>

using app::asWord;
using app::errorName;
using preload::Answers;
using preload::answers;
using preload::answersCalls;
using preload::isRecording;
using preload::logAnswer;
using preload::real;

namespace {

/** Of the kernel's <scsi/scsi_ioctl.h>, which the C library's header of that name leaves out. */
constexpr unsigned long SCSI_IOCTL_GET_BUS_NUMBER = 0x5386;

template <typename Status> int answerStatvfs(char const* path, Status& status)
{
    auto const found = answers().filesystems.find(path);
    if (found == answers().filesystems.end()) {
        errno = ENOENT;
        return -1;
    }
    Answers::Filesystem const& filesystem = found->second;
    if (filesystem.hangs)
        preload::waitForEver();
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

/** @param next the C library's function. */
template <typename Status>
int statvfsOf(char const* path, Status& status, int (*next)(char const*, Status*))
{
    std::string const call = "statvfs " + asWord(path) + " ";
    if (isRecording())
        logAnswer(call + "hang"); // Until there is an answer.
    int const result = answersCalls() ? answerStatvfs(path, status) : next(path, &status);
    if (!isRecording())
        return result;
    std::string words = errorName(errno);
    if (result == 0) {
        words.clear();
        for (uint64_t const figure : {uint64_t{status.f_bsize}, uint64_t{status.f_frsize},
                 uint64_t{status.f_blocks}, uint64_t{status.f_bfree}, uint64_t{status.f_bavail},
                 uint64_t{status.f_files}, uint64_t{status.f_ffree}})
            words += std::to_string(figure) + " ";
    }
    logAnswer(call + words);
    return result;
}

/** @return null for a file that is no disk of the machine. */
Answers::Sector const* diskOf(int file)
{
    static auto* const realFstat = real<int(int, struct stat64*)>("fstat64");
    struct stat64 opened { };
    if (realFstat(file, &opened) != 0 || S_ISCHR(opened.st_mode) || S_ISFIFO(opened.st_mode))
        return nullptr;
    static auto const sectors = preload::byFile(answers().sectors);
    auto const found = sectors.find({opened.st_dev, opened.st_ino});
    return found == sectors.end() ? nullptr : &found->second;
}

int answerDisk(Answers::Sector const& disk, unsigned long request, void* out)
{
    if (request == SCSI_IOCTL_GET_BUS_NUMBER && disk.bus) {
        *static_cast<int*>(out) = *disk.bus;
        return 0;
    }
    if (request == BLKSSZGET && disk.error == 0) {
        *static_cast<int*>(out) = disk.size;
        return 0;
    }
    errno = request == BLKSSZGET ? disk.error : ENOTTY;
    return -1;
}

/** Logs "sector PATH BYTES", or "bus PATH NUMBER", which a recording has in one line. */
void logDisk(int file, unsigned long request, int result, int value)
{
    int const error = errno;
    if (std::string const path = preload::pathOf(file); !path.empty())
        logAnswer((request == BLKSSZGET ? "sector " : "bus ") + asWord(path) + " "
            + (result == 0 ? std::to_string(value) : errorName(error)));
    errno = error;
}

int answerHostName(char* out, size_t size)
{
    std::string const& name = answers().hostName;
    if (name.size() >= size) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(out, name.c_str(), name.size() + 1);
    return 0;
}

}

ANSWERED int statvfs(char const* path, struct statvfs* status) noexcept
{
    return statvfsOf(path, *status, real<int(char const*, struct statvfs*)>("statvfs"));
}

ANSWERED int statvfs64(char const* path, struct statvfs64* status) noexcept
{
    return statvfsOf(path, *status, real<int(char const*, struct statvfs64*)>("statvfs64"));
}

ANSWERED int uname(utsname* out) noexcept
{
    static auto* const next = real<int(utsname*)>("uname");
    int result = 0;
    if (answersCalls()) {
        std::memset(out, 0, sizeof *out);
        std::string("Linux").copy(out->sysname, sizeof out->sysname - 1);
        answers().hostName.copy(out->nodename, sizeof out->nodename - 1);
        answers().release.copy(out->release, sizeof out->release - 1);
        std::string("#1 SMP").copy(out->version, sizeof out->version - 1);
        answers().architecture.copy(out->machine, sizeof out->machine - 1);
    } else {
        result = next(out);
    }
    if (isRecording() && result == 0)
        logAnswer("uname " + asWord(out->release) + " " + asWord(out->machine));
    return result;
}

ANSWERED int gethostname(char* out, size_t size) noexcept
{
    static auto* const next = real<int(char*, size_t)>("gethostname");
    int const result = answersCalls() ? answerHostName(out, size) : next(out, size);
    if (isRecording() && result == 0)
        logAnswer("hostname " + asWord(std::string_view(out, strnlen(out, size))));
    return result;
}

ANSWERED int ioctl(int file, unsigned long request, ...) noexcept
{
    static auto* const next = real<int(int, unsigned long, ...)>("ioctl");
    va_list arguments;
    va_start(arguments, request);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (request != BLKSSZGET && request != SCSI_IOCTL_GET_BUS_NUMBER)
        return next(file, request, argument);
    Answers::Sector const* const disk = answersCalls() ? diskOf(file) : nullptr;
    int const result = disk ? answerDisk(*disk, request, argument) : next(file, request, argument);
    if (isRecording())
        logDisk(file, request, result, *static_cast<int*>(argument));
    return result;
}

ANSWERED long sysconf(int name) noexcept
{
    static auto* const next = real<long(int)>("sysconf");
    if (name != _SC_NPROCESSORS_ONLN && name != _SC_NPROCESSORS_CONF)
        return next(name);
    bool const isAnswered = answersCalls();
    long const online = isAnswered ? answers().processorsOnline : next(_SC_NPROCESSORS_ONLN);
    long const configured =
        isAnswered ? answers().processorsConfigured : next(_SC_NPROCESSORS_CONF);
    if (isRecording())
        logAnswer("processors " + std::to_string(online) + " " + std::to_string(configured));
    return name == _SC_NPROCESSORS_ONLN ? online : configured;
}

/** The library's own routine reads the firmware's texts; the code comes from the recording, as the
 * processor's own report cannot be changed. */
ANSWERED int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    static auto* const next = real<int(char*, char*, char*, int*)>("getsysinfo");
    int result = next(vendor, product, version, code);
    if (answersCalls()) {
        *code = std::max(answers().hypervisor.value_or(0), 0);
        bool const allEmpty = *vendor == '\0' && *product == '\0' && *version == '\0';
        if (allEmpty && answers().hypervisor.value_or(0) < 0)
            result = -1;
    }
    if (isRecording())
        logAnswer("hypervisor " + std::to_string(result == -1 ? -1 : *code));
    return result;
}
