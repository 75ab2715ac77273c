// Runs each operation of tools/gates/instructions once, for callgrind to count its instructions
// (valgrind(1)). After an operation callgrind dumps its counters under the operation's name.

#include "bench/fake_disks.h"
#include "bench/fake_ini.h"
#include "bench/fake_proc.h"
#include "bench/fake_recovery.h"
#include "bench/private_mounts.h"
#include "bench/text_samples.h"
#include "common/basic/IniFile.h"
#include "common/basic/text_cast.h"
#include "sysinfo/SystemInformation.h"
#include "sysinfo/parsers/dmidecode_output.h"
#include "sysinfo/parsers/ifconfig_output.h"
#include "sysinfo/parsers/proc_meminfo.h"
#include "sysinfo/parsers/proc_mounts.h"
#include "sysinfo/parsers/proc_partitions.h"
#include "sysinfo/parsers/proc_stat.h"
#include "sysinfo/parsers/pvdisplay_output.h"
#include "sysinfo/parsers/resolv_conf.h"
#include "sysinfo/parsers/route_output.h"

#include <valgrind/callgrind.h>

#include <clocale>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using dovrel::value_ptr;
using sysinfo::SystemInformation;

namespace {

void expect(bool condition, std::string const& message)
{
    if (!condition)
        throw std::runtime_error(message);
}

/** Runs @p operation twice. The first time, the C and C++ libraries prepare what they keep. */
void count(char const* name, std::function<void()> const& operation)
{
    operation();
    CALLGRIND_ZERO_STATS;
    operation();
    CALLGRIND_DUMP_STATS_AT(name);
}

// Text -------------------------------------------------------------------------------------------

/** @return the contents of a file of tests/recorded, repeated to at least 4 KiB: the calls around
 * the parser must not count for much. */
std::string recorded(std::string const& path)
{
    std::ifstream file(RECORDED "/" + path);
    std::ostringstream text;
    expect(static_cast<bool>(text << file.rdbuf()), "cannot read " + path);
    std::string all;
    while (all.size() < 4096)
        all += text.str();
    return all;
}

using Found = std::function<void(std::string const&)>;

void countParser(char const* name, std::string const& path,
    std::function<void(std::istream&, Found const&)> const& parse)
{
    std::string const text = recorded(path);
    unsigned found = 0;
    count(name, [&] {
        std::istringstream stream(text);
        parse(stream, [&](std::string const&) { ++found; });
    });
    expect(found > 0, path + " was not parsed");
}

class Dump final : public sysinfo::FirmwareDumpListener { };

void countParsers()
{
    using namespace sysinfo;
    countParser("parse dmidecode", "dmidecode/fake-good.txt", [](auto& text, auto& found) {
        Dump listener;
        if (sumOfModules(text, listener) > 0)
            found("modules");
    });
    countParser("parse ifconfig", "ifconfig-a/fake-good-new.txt",
        [](auto& text, auto& found) { readAdapters(text, found, [](AdapterText const&) {}); });
    countParser("parse meminfo", "proc-meminfo/fake-good.txt", [](auto& text, auto& found) {
        readKernelMemory(text, [&](KernelFigure, uint64_t) { found("figure"); });
    });
    countParser("parse mounts", "proc-mounts/fake-good.txt", [](auto& text, auto& found) {
        if (!readMounts(text).empty())
            found("mounts");
    });
    countParser("parse partitions", "proc-partitions/fake-good.txt",
        [](auto& text, auto& found) { readPartitions(text, found, [](DiskEntry const&) {}); });
    countParser("parse stat", "proc-stat/vm-2cpu.txt",
        [](auto& text, auto& found) { countProcessors(text, found); });
    countParser("parse pvdisplay", "pvdisplay-c/fake-good.txt",
        [](auto& text, auto& found) { readPhysicalVolumes(text, "  /dev/sda2", found); });
    countParser("parse resolv.conf", "resolv-conf/fake-good.txt",
        [](auto& text, auto& found) { readNameServers(text, found); });
    countParser("parse route", "route-n/fake-good.txt",
        [](auto& text, auto& found) { readGateways(text, found); });
}

void countTexts()
{
    std::string const narrow = bench::mixedText(4096);
    std::wstring const wide = bench::mixedWide(4096);
    count("narrow to wide", [&] { expect(!dovrel::string(narrow).empty(), "not converted"); });
    count("wide to narrow", [&] {
        dovrel::string const text(wide.c_str());
        expect(std::string(text) == narrow, "not converted");
    });
    constexpr unsigned NUMBERS = 100;
    count("numbers to text", [] {
        for (unsigned i = 0; i < NUMBERS; ++i)
            expect(!dovrel::str_cast<unsigned>(i * 123457).empty(), "not converted");
    });
    dovrel::string const column(L" 123456 ");
    count("text to numbers", [&] {
        for (unsigned i = 0; i < NUMBERS; ++i)
            expect(dovrel::literal_cast<int>(column, -1) == 123456, "not converted");
    });
}

void countIniFile()
{
    bench::FakeIni const& ini = bench::FakeIni::ofKeys(1000);
    dovrel::string const path(ini.path());
    count("load INI file",
        [&] { expect(dovrel::IniFile(path, true, false, false).savedError() == 0, "not loaded"); });
}

// Queries ----------------------------------------------------------------------------------------

template <class Record> using List = std::vector<value_ptr<Record>>;

void countLists()
{
    auto const system = SystemInformation::create();
    bench::writeProcStat(64);
    count("list 64 processors", [&] {
        List<SystemInformation::CPUInfo> list;
        expect(system->getCPUsInternal(list) && list.size() == 64, "no list of processors");
    });
    for (unsigned const disks : {10U, 100U}) {
        bench::writeDisks(disks);
        std::string const name = "list " + std::to_string(disks) + " disks";
        count(name.c_str(), [&] {
            List<SystemInformation::PhysicalDiskInfo> list;
            expect(
                system->getPhysicalDisksInternal(list) && list.size() == disks, "no list of disks");
        });
    }
    bench::writeDisks(4);
    bench::writeMounts(20, 4);
    count("list 20 mounts", [&] {
        List<SystemInformation::DiskInfo> list;
        expect(system->getDisksInternal(list) && list.size() == 20, "no list of mounts");
    });
}

void countRecovery()
{
    auto const system = SystemInformation::create();
    bench::writeRecovery();
    count("poll recovery", [&] {
        bool unavailable = true;
        auto const recovery = system->getCloneInfo(unavailable);
        expect(!unavailable && recovery->getOperationProgress() == 43, "no recovery");
    });
}

}

int main(int, char** argv)
{
    try {
        expect(std::setlocale(LC_ALL, "C.UTF-8") != nullptr, "the locale C.UTF-8 is missing");
        countParsers();
        countTexts();
        countIniFile();
        bench::replaceDisks();
        countLists();
        bench::emptyFolder("/etc");
        bench::emptyFolder("/tmp");
        countRecovery();
        return 0;
    } catch (std::exception const& error) {
        std::cerr << argv[0] << ": " << error.what() << '\n';
        return 2;
    }
}
