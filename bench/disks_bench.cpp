#include "bench/allocations.h"
#include "bench/bare_disks.h"
#include "bench/fake_disks.h"
#include "bench/main.h"
#include "sysinfo/SystemInformation.h"
#include "sysinfo/parsers/proc_partitions.h"
#include "tests/support/capabilities.h"

#include <benchmark/benchmark.h>

#include <mntent.h>
#ifdef BENCH_WITH_STATGRAB
#include <statgrab.h>
#endif
#include <sys/statvfs.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <sstream>
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

using Disks = std::vector<dovrel::value_ptr<SystemInformation::PhysicalDiskInfo>>;

/** Times the library's list. @return one. */
Disks timeDisks(benchmark::State& state)
{
    auto const system = SystemInformation::create();
    auto const list = [&system] {
        Disks disks;
        expect(system->getPhysicalDisksInternal(disks), "the disks cannot be listed");
        return disks;
    };
    bench::timeAndCount(state, list);
    return list();
}

/** Times the bare reads. @return one list. */
std::vector<bench::BareDisk> timeBareDisks(benchmark::State& state, Resolve resolve)
{
    std::vector<bench::BareDisk> disks;
    for (auto round : state)
        disks = bench::bareDisks(resolve);
    return disks;
}

void disksDovrel(benchmark::State& state)
{
    bench::writeDisks(sizeOf(state));
    Disks const disks = timeDisks(state);
    expect(disks.size() == sizeOf(state) && !disks.back()->getDiskCaption().empty()
            && disks.back()->getDiskTotalSizeInBytes() != 0
            && disks.back()->getDiskNumberOfPartitions() == 2,
        "the disks were not read");
}

void disksBare(benchmark::State& state, Resolve resolve)
{
    bench::writeDisks(sizeOf(state));
    std::vector<bench::BareDisk> const disks = timeBareDisks(state, resolve);
    expect(disks.size() == sizeOf(state) && !disks.back().caption.empty() && disks.back().bytes != 0
            && disks.back().partitions == 2,
        "the disks were not read");
}

// Without the permission to open them -------------------------------------------------------------

/** Disks that this process cannot open while the object lives. Their size is unknown. */
class DeniedDisks {
public:
    explicit DeniedDisks(unsigned disks)
    {
        bench::writeDisks(disks);
        bench::denyDisks(disks);
        testkit::obeyFilePermissions(true);
    }
    DeniedDisks(DeniedDisks const&) = delete;
    DeniedDisks& operator=(DeniedDisks const&) = delete;
    ~DeniedDisks() { testkit::obeyFilePermissions(false); }
};

void deniedDisksDovrel(benchmark::State& state)
{
    DeniedDisks const denied(sizeOf(state));
    Disks const disks = timeDisks(state);
    expect(disks.size() == sizeOf(state) && !disks.back()->getDiskCaption().empty()
            && disks.back()->getDiskTotalSizeInBytes() == 0,
        "the disks were not denied");
}

void deniedDisksBare(benchmark::State& state, Resolve resolve)
{
    DeniedDisks const denied(sizeOf(state));
    std::vector<bench::BareDisk> const disks = timeBareDisks(state, resolve);
    expect(
        disks.size() == sizeOf(state) && !disks.back().caption.empty() && disks.back().bytes == 0,
        "the disks were not denied");
}

// /proc/partitions --------------------------------------------------------------------------------

void parseDovrel(benchmark::State& state)
{
    std::istringstream text(bench::partitionsText(sizeOf(state)));
    size_t disks = 0;
    size_t partitions = 0;
    bench::timeAndCount(state, [&] {
        text.clear();
        text.seekg(0);
        disks = 0;
        partitions = 0;
        sysinfo::readPartitions(
            text, [&](std::string const&) { ++partitions; },
            [&](sysinfo::DiskEntry const&) { ++disks; });
        return disks;
    });
    expect(disks == sizeOf(state) && partitions == 2 * disks, "the text was not parsed");
}

void parseByBareScan(benchmark::State& state)
{
    std::string const text = bench::partitionsText(sizeOf(state));
    std::vector<bench::BareEntry> disks;
    for (auto round : state)
        disks = bench::scanPartitions(text);
    expect(
        disks.size() == sizeOf(state) && disks.back().partitions == 2, "the text was not parsed");
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
    auto const list = [&system] {
        std::vector<dovrel::value_ptr<SystemInformation::DiskInfo>> mounts;
        expect(system->getDisksInternal(mounts), "the mounts cannot be listed");
        return mounts;
    };
    bench::timeAndCount(state, list);
    auto const mounts = list();
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
    benchmark->Arg(1)->Arg(10)->Arg(100)->Arg(1000);
}

void mountNumbers(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);
}

}

BENCHMARK(disksDovrel)->Name("disks/dovrel")->Apply(diskNumbers);
BENCHMARK_CAPTURE(disksBare, bare, Resolve::for_each_disk)
    ->Name("disks/bare_scan")
    ->Apply(diskNumbers);
BENCHMARK_CAPTURE(disksBare, bare_once, Resolve::once)
    ->Name("disks/bare_scan_once")
    ->Apply(diskNumbers);
BENCHMARK(deniedDisksDovrel)->Name("denied_disks/dovrel")->Arg(100);
BENCHMARK_CAPTURE(deniedDisksBare, bare, Resolve::for_each_disk)
    ->Name("denied_disks/bare_scan")
    ->Arg(100);
BENCHMARK_CAPTURE(deniedDisksBare, bare_once, Resolve::once)
    ->Name("denied_disks/bare_scan_once")
    ->Arg(100);
BENCHMARK(parseDovrel)->Name("parse_partitions/dovrel")->Apply(diskNumbers);
BENCHMARK(parseByBareScan)->Name("parse_partitions/bare_scan")->Apply(diskNumbers);
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
