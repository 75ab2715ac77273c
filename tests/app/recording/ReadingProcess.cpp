#include "tests/app/recording/ReadingProcess.h"

#include "app/recording/archive/archive.h"
#include "tests/app/Program.h"
#include "tests/app/SyscallFilter.h"
#include "tests/support/Channel.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <fcntl.h>
#include <fstream>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace app_test {

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr bool MEMORY_IS_MEASURED = false; // Most of it would be the sanitizer's.
#else
constexpr bool MEMORY_IS_MEASURED = true;
#endif

/** Reads the file, and may create none. */
std::string messageOfReading(std::string const& file)
{
    filterSyscalls({{SYS_openat, SECCOMP_RET_KILL_PROCESS, 2, unsigned{O_CREAT}},
        {SYS_mkdir, SECCOMP_RET_KILL_PROCESS}, {SYS_symlink, SECCOMP_RET_KILL_PROCESS}});
    try {
        std::ifstream stream(file, std::ios::binary);
        app::readRecording(stream);
        return "read";
    } catch (app::ArchiveError const& error) {
        return error.what();
    }
}

/** @return the largest amount of this process so far. getrusage(2). */
long usedKibibytes()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

double secondsOf(timeval const& time)
{
    constexpr double MICROSECONDS = 1e6;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / MICROSECONDS;
}

/** Writes the message and the memory that the reading needed beyond what the parent has. */
void readInThisProcess(std::string const& file, int output)
{
    long const before = usedKibibytes();
    std::string const message = messageOfReading(file);
    std::string const text = std::to_string(usedKibibytes() - before) + " " + message;
    bool const written =
        write(output, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    _exit(written ? 0 : 1);
}

}

ReadingProcess readInChild(std::string const& archive)
{
    Folder const folder;
    std::string const file = folder.file("archive", archive);
    testkit::Channel channel = testkit::Channel::pipe();
    malloc_trim(0); // The child must not use what the parent has freed.
    pid_t const child = fork();
    if (child < 0)
        testkit::fail("fork", "");
    if (child == 0)
        readInThisProcess(file, channel.writer);
    channel.writer.close();
    std::string text;
    std::array<char, 4096> piece;
    for (ssize_t count = 0; (count = read(channel.reader, piece.data(), piece.size())) > 0;)
        text.append(piece.data(), static_cast<size_t>(count));
    int status = 0;
    rusage usage = {};
    if (wait4(child, &status, 0, &usage) != child)
        testkit::fail("wait4", "");
    double const seconds = secondsOf(usage.ru_utime) + secondsOf(usage.ru_stime);
    size_t const blank = text.find(' ');
    if (WIFSIGNALED(status) || blank == std::string::npos)
        return {"signal " + std::to_string(WTERMSIG(status)), seconds, 0};
    return {
        text.substr(blank + 1), seconds, MEMORY_IS_MEASURED ? std::stol(text.substr(0, blank)) : 0};
}

void expectRefused(std::string const& archive, std::string const& expected)
{
    constexpr double MOST_SECONDS = 10;
    constexpr long MOST_KIBIBYTES = 256 * 1024;
    ReadingProcess const reading = readInChild(archive);
    EXPECT_THAT(reading.message, testing::HasSubstr(expected));
    EXPECT_LT(reading.seconds, MOST_SECONDS) << expected;
    EXPECT_LT(reading.kibibytes, MOST_KIBIBYTES) << expected;
}

}
