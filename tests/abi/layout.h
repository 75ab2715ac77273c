#pragma once

#include "sysinfo/LinuxSystemInformation.h"

#include <cstddef>

/** Expectations on living objects; the figures, in bytes, are what an architecture's test says. */
namespace layout {

using sysinfo::SystemInformation;
using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;

struct Text {
    size_t heap, length, capacity, narrow;
};
void expectText(Text const& offsets);

struct Service {
    size_t lastError;
};
/** Both bases at the start, and the last-error text behind the table pointer. */
void expectService(Service const& offsets);

struct RecordInterface {
    size_t size, cloneable;
};
/** For each of the abstract record classes. */
void expectRecordInterfaces(RecordInterface const& figures);

struct Processor {
    size_t cloneable, index;
};
void expectProcessor(Processor const& offsets);

struct ListCache {
    size_t size, records, mutex;
};
/** The type and the four exported objects. */
void expectListCaches(ListCache const& figures);

struct MemoryCache {
    size_t size, mutex;
};
void expectMemoryCache(MemoryCache const& figures);

}
