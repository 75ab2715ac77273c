#include "bench/main.h"
#include "bench/private_mounts.h"
#include "sysinfo/SystemInformation.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

using sysinfo::SystemInformation;

namespace {

constexpr char STATUS[] = "/etc/dovrel/status.ini";
constexpr char ANSWERS[] = "/etc/dovrel/DRAnswer.ini";
constexpr char PERCENT[] = "/tmp/percent";

/** @return a file of tzfile(5) for Coordinated Universal Time. Without it each call of mktime(3)
 * searches for the file, unlike on a real machine. */
std::string timeZone()
{
    std::string file("TZif");
    file.resize(44);
    file[39] = 1; // One type of local time, with a name of four bytes.
    file[43] = 4;
    file.resize(50);
    file += "UTC";
    return file + '\0';
}

/** Writes the files of a restore in progress. */
void writeRecovery()
{
    bench::writeText("/etc/localtime", timeZone());
    mkdir("/etc/dovrel", 0755);
    bench::writeText(STATUS,
        "; written by the recovery engine\n[Main]\nStatus=5000\n"
        "RecoverStart=24-03-2013 14:05:09\nRecoverEnd=\nRestoreStart=24-03-2013 14:07:31\n"
        "RestoreEnd=\n\n[RestoreStatus]\nTotalFiles=2834711\nFilesDone=1245380\n"
        "TotalBytes=734003200000\nBytesDone=314572800000\n");
    std::string answers = "[AdvancedOptions]\nFinalSync=1\nRebootWhenDone=false\n";
    for (char volume = 'a'; volume < 'e'; ++volume)
        answers += std::string("\n[Volume_sd") + volume
            + "]\nRestore=true\nResize=false\nFileSystem=ext4\nMountPoint=/data/" + volume + '\n';
    bench::writeText(ANSWERS, answers);
    bench::writeText(PERCENT, "43\n");
}

void pollDovrel(benchmark::State& state)
{
    auto const system = SystemInformation::create();
    for (auto round : state) {
        bool unavailable = true;
        auto const recovery = system->getCloneInfo(unavailable);
        constexpr unsigned FINAL_SYNC = 5500;
        if (unavailable || recovery->getOperationID() != FINAL_SYNC
            || recovery->getOperationProgress() != 43)
            throw std::runtime_error("the recovery was not read");
    }
}

ssize_t readToEnd(char const* path)
{
    int const file = open(path, O_RDONLY | O_CLOEXEC);
    char text[4096];
    ssize_t all = 0;
    for (ssize_t size; (size = read(file, text, sizeof text)) > 0;)
        all += size;
    close(file);
    benchmark::DoNotOptimize(text);
    return all;
}

void pollByBareReading(benchmark::State& state)
{
    for (auto round : state)
        for (char const* path : {STATUS, ANSWERS, PERCENT})
            if (readToEnd(path) == 0)
                throw std::runtime_error(std::string("cannot read ") + path);
}

}

BENCHMARK(pollDovrel)->Name("recovery_poll/dovrel");
BENCHMARK(pollByBareReading)->Name("recovery_poll/bare_reading");

void bench::prepare()
{
    enterPrivateMounts();
    emptyFolder("/etc");
    emptyFolder("/tmp");
    writeRecovery();
}
