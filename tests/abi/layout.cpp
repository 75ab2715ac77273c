#include "tests/abi/layout.h"

#include "tests/abi/ElfFile.h"
#include "tests/abi/library.h"
#include "tests/abi/object_bytes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>

namespace layout {

namespace {

/** @return the size of an exported object from the library's symbol table. */
size_t exportedSize(std::string const& mangled)
{
    auto const symbols = ElfFile(libraryPath()).dynamicSymbols();
    auto const found = std::find_if(
        symbols.begin(), symbols.end(), [&](auto const& s) { return s.name == mangled; });
    return found == symbols.end() ? 0 : found->size;
}

/** Gives access to the last error, which only derived classes set. */
struct OpenService : sysinfo::LinuxSystemInformation {
    dovrel::string& lastError() { return m_lastError; }
};

template <class Record> void expectRecordInterface(RecordInterface const& figures)
{
    EXPECT_EQ(sizeof(Record), figures.size);
    // The conversions to the bases only add offsets, so no object is needed.
    alignas(Record) char const room[sizeof(Record)] = {};
    auto const* const record = reinterpret_cast<Record const*>(room);
    EXPECT_EQ(offsetOf(static_cast<SystemInformation::Info const&>(*record), room), 0U);
    EXPECT_EQ(
        offsetOf(static_cast<dovrel::Cloneable<Record> const&>(*record), room), figures.cloneable);
}

}

void expectString(StringFields const& offsets)
{
    dovrel::string const shortText(L"sda");
    EXPECT_EQ(std::memcmp(&shortText, L"sda", 4 * sizeof(wchar_t)), 0);
    EXPECT_EQ(fieldAt<wchar_t const*>(shortText, offsets.heap), nullptr);
    EXPECT_EQ(fieldAt<unsigned>(shortText, offsets.length), 3U);

    // A string keeps the heap block of a longer former text.
    dovrel::string longText(L"/dev/mapper/root");
    longText = L"/dev/mapper";
    EXPECT_EQ(fieldAt<wchar_t>(longText, 0), L'\0');
    EXPECT_EQ(fieldAt<wchar_t const*>(longText, offsets.heap), longText.c_str());
    EXPECT_EQ(fieldAt<unsigned>(longText, offsets.length), 11U);
    EXPECT_EQ(fieldAt<unsigned>(longText, offsets.capacity), 16U);

    EXPECT_EQ(fieldAt<char const*>(longText, offsets.narrow), nullptr);
    char const* const narrow = longText;
    EXPECT_EQ(fieldAt<char const*>(longText, offsets.narrow), narrow);
}

void expectSystemInformation(SystemInformationFields const& offsets)
{
    OpenService service;
    SystemInformation const& interface = service;
    EXPECT_EQ(offsetOf(interface, service), 0U);
    EXPECT_EQ(
        offsetOf(static_cast<sysinfo::SystemInformation_Precursor const&>(interface), service), 0U);
    EXPECT_EQ(
        offsetOf(static_cast<dovrel::Cloneable<SystemInformation> const&>(interface), service), 0U);
    EXPECT_EQ(offsetOf(service.lastError(), service), offsets.lastError);

    // The library's own code must read it from there too.
    service.lastError() = L"no such disk";
    EXPECT_EQ(interface.getLastError(), dovrel::string(L"no such disk"));
}

void expectRecordInterfaces(RecordInterface const& figures)
{
    EXPECT_EQ(sizeof(SystemInformation::Info), sizeof(void*));
    expectRecordInterface<SystemInformation::DiskInfo>(figures);
    expectRecordInterface<SystemInformation::PhysicalDiskInfo>(figures);
    expectRecordInterface<SystemInformation::CPUInfo>(figures);
    expectRecordInterface<SystemInformation::NetworkInfo>(figures);
    expectRecordInterface<SystemInformation::CloneInfo>(figures);
}

void expectUNIXCPUInfo(CPUInfoFields const& offsets)
{
    UNIXCPUInfo const processor(4711);
    EXPECT_EQ(offsetOf(static_cast<dovrel::Cloneable<SystemInformation::CPUInfo> const&>(processor),
                  processor),
        offsets.cloneable);
    EXPECT_EQ(fieldAt<uint32_t>(processor, offsets.index), 4711U);
}

void expectUNIXCloneInfo(CloneInfoFields const& offsets)
{
    UNIXCloneInfo const record(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12.5, L"torn");
    EXPECT_EQ(offsetOf(static_cast<dovrel::Cloneable<SystemInformation::CloneInfo> const&>(record),
                  record),
        offsets.cloneable);
    for (uint32_t i = 0; i < 7; ++i)
        EXPECT_EQ(fieldAt<uint32_t>(record, offsets.figures + i * sizeof i), i + 1);
    for (uint32_t i = 0; i < 4; ++i)
        EXPECT_EQ(
            fieldAt<long>(record, offsets.times + i * sizeof(long)), static_cast<long>(i + 8));
    EXPECT_EQ(fieldAt<double>(record, offsets.throughput), 12.5);
    EXPECT_EQ(std::memcmp(reinterpret_cast<char const*>(&record) + offsets.lastError, L"torn",
                  5 * sizeof(wchar_t)),
        0);
}

void expectListCaches(ListCache const& figures)
{
    auto const& cache = SystemInformation::m_diskCache;
    EXPECT_EQ(offsetOf(cache.word, cache), 0U);
    EXPECT_EQ(offsetOf(cache.records, cache), figures.records);
    EXPECT_EQ(offsetOf(cache.mutex, cache), figures.mutex);
    for (char const* name : {"11m_diskCacheE", "9m_fsCacheE", "10m_cpuCacheE", "10m_netCacheE"}) {
        EXPECT_EQ(exportedSize(std::string("_ZN7sysinfo17SystemInformation") + name), figures.size)
            << name;
    }
}

void expectMemoryCache(MemoryCache const& figures)
{
    auto const& cache = SystemInformation::m_memCache;
    EXPECT_EQ(offsetOf(cache.words, cache), 0U);
    EXPECT_EQ(sizeof cache.words, 20U);
    EXPECT_EQ(offsetOf(cache.mutex, cache), figures.mutex);
    EXPECT_EQ(exportedSize("_ZN7sysinfo17SystemInformation10m_memCacheE"), figures.size);
}

}
