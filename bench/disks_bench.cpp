#include "bench/bare_disks.h"
#include "bench/fake_disks.h"
#include "bench/main.h"
#include "sysinfo/SystemInformation.h"

#include <benchmark/benchmark.h>

#include <mntent.h>
#ifdef BENCH_WITH_STATGRAB
#include <statgrab.h>
#endif
#include <sys/statvfs.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

using bench::Resolve;
using sysinfo::SystemInformation;

namespace {

constexpr unsigned DISKS_UNDER_MOUNTS = 4;

unsigned sizeOf(benchmark::State const& state)
{
    return static_cast<unsigned>(state.range(0));
}

void expect(bool condition, char const* message)
{
    if (!condition)
        throw std::runtime_error(message);
}

// Disks ------------------------------------------------------------------------------------------

void disksDovrel(benchmark::State& state)
{
    bench::writeDisks(sizeOf(state));
    auto const system = SystemInformation::create();
    std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>> disks;
    for (auto round : state) {
        disks.clear();
        expect(system->getPhysicalDisksInternal(disks), "the disks cannot be listed");
    }
    expect(disks.size() == sizeOf(state) && !disks.back()->getDiskCaption().empty()
            && disks.back()->getDiskTotalSizeInBytes() != 0
            && disks.back()->getDiskNumberOfPartitions() == 2,
        "the disks were not read");
}

void disksBare(benchmark::State& state, Resolve resolve)
{
    bench::writeDisks(sizeOf(state));
    std::vector<bench::BareDisk> disks;
    for (auto round : state)
        disks = bench::bareDisks(resolve);
    expect(disks.size() == sizeOf(state) && !disks.back().caption.empty() && disks.back().bytes != 0
            && disks.back().partitions == 2,
        "the disks were not read");
}

// Mounts -----------------------------------------------------------------------------------------

void writeMachine(benchmark::State const& state)
{
    bench::writeDisks(DISKS_UNDER_MOUNTS);
    bench::writeMounts(sizeOf(state), DISKS_UNDER_MOUNTS);
}

void mountsDovrel(benchmark::State& state)
{
    writeMachine(state);
    auto const system = SystemInformation::create();
    std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>> mounts;
    for (auto round : state) {
        mounts.clear();
        expect(system->getDisksInternal(mounts), "the mounts cannot be listed");
    }
    expect(mounts.size() == sizeOf(state) && mounts.back()->getDiskSizeInBytes() != 0
            && mounts.back()->getParentDisks().size() == 1,
        "the mounts were not read");
}

void mountsBare(benchmark::State& state)
{
    writeMachine(state);
    std::vector<bench::BareMount> mounts;
    for (auto round : state)
        mounts = bench::bareMounts();
    expect(mounts.size() == sizeOf(state) && mounts.back().bytes != 0
            && mounts.back().disks.size() == 1,
        "the mounts were not read");
}

/** Reports no disks and does not sort. */
void mountsByGetmntent(benchmark::State& state)
{
    writeMachine(state);
    unsigned found = 0;
    uint64_t bytes = 0;
    for (auto round : state) {
        found = 0;
        FILE* const table = setmntent("/proc/mounts", "re");
        expect(table != nullptr, "the mounts cannot be listed");
        mntent entry;
        char room[4096];
        while (getmntent_r(table, &entry, room, sizeof room)) {
            struct statvfs status;
            if (std::strncmp(entry.mnt_fsname, "/dev/", 5) != 0
                || statvfs(entry.mnt_dir, &status) != 0)
                continue;
            ++found;
            bytes += uint64_t{status.f_blocks} * status.f_bsize;
        }
        endmntent(table);
    }
    expect(found == sizeOf(state) && bytes != 0, "the mounts were not read");
}

#ifdef BENCH_WITH_STATGRAB

// libstatgrab reports the bytes read from and written to disks and partitions, without captions and
// sizes. It reports the sizes of mounts without their disks.

struct Statgrab {
    Statgrab() { expect(sg_init(0) == SG_ERROR_NONE, "libstatgrab cannot be used"); }
    Statgrab(Statgrab const&) = delete;
    Statgrab& operator=(Statgrab const&) = delete;
    ~Statgrab() { sg_shutdown(); }
};

void disksByStatgrab(benchmark::State& state)
{
    bench::writeDisks(sizeOf(state));
    Statgrab const statgrab;
    size_t found = 0;
    for (auto round : state)
        expect(sg_get_disk_io_stats(&found) != nullptr, "the disks cannot be listed");
    constexpr size_t WITH_PARTITIONS = 3;
    expect(found == WITH_PARTITIONS * sizeOf(state), "the disks were not read");
}

void mountsByStatgrab(benchmark::State& state)
{
    writeMachine(state);
    Statgrab const statgrab;
    size_t found = 0;
    uint64_t bytes = 0;
    for (auto round : state) {
        sg_fs_stats const* const mounts = sg_get_fs_stats(&found);
        expect(mounts != nullptr && found > 0, "the mounts cannot be listed");
        bytes = mounts[found - 1].size;
    }
    expect(found == sizeOf(state) && bytes != 0, "the mounts were not read");
}

#endif

void diskNumbers(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(100)->Arg(1000);
}

void mountNumbers(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(20)->Arg(10000);
}

}

BENCHMARK(disksDovrel)->Name("disks/dovrel")->Apply(diskNumbers);
BENCHMARK_CAPTURE(disksBare, bare, Resolve::for_each_disk)
    ->Name("disks/bare_scan")
    ->Apply(diskNumbers);
BENCHMARK_CAPTURE(disksBare, bare_once, Resolve::once)
    ->Name("disks/bare_scan_once")
    ->Apply(diskNumbers);
BENCHMARK(mountsDovrel)->Name("mounts/dovrel")->Apply(mountNumbers);
BENCHMARK(mountsBare)->Name("mounts/bare_scan")->Apply(mountNumbers);
BENCHMARK(mountsByGetmntent)->Name("mounts/getmntent")->Apply(mountNumbers);
#ifdef BENCH_WITH_STATGRAB
BENCHMARK(disksByStatgrab)->Name("disks/libstatgrab")->Apply(diskNumbers);
BENCHMARK(mountsByStatgrab)->Name("mounts/libstatgrab")->Apply(mountNumbers);
#endif

void bench::prepare()
{
    replaceDisks();
}
