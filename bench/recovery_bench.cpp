#include "bench/allocations.h"
#include "bench/fake_recovery.h"
#include "bench/main.h"
#include "bench/private_mounts.h"
#include "sysinfo/SystemInformation.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <string>

using sysinfo::SystemInformation;

namespace {

void pollDovrel(benchmark::State& state)
{
    auto const system = SystemInformation::create();
    bench::timeAndCount(state, [&system] {
        bool unavailable = true;
        auto recovery = system->getCloneInfo(unavailable);
        constexpr unsigned FINAL_SYNC = 5500;
        if (unavailable || recovery->getOperationID() != FINAL_SYNC
            || recovery->getOperationProgress() != 43)
            throw std::runtime_error("the recovery was not read");
        return recovery;
    });
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
        for (char const* path : bench::RECOVERY_FILES)
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
