#pragma once

#include "common/basic/processstream/src/UnixCommand.h"
#include "sysinfo/LinuxSystemInformation.h"

#include <cstddef>

/** Expectations on living objects; the figures, in bytes, are what an architecture's test says. */
namespace layout {

using sysinfo::SystemInformation;
using ChildStreamType = pstream_wrapper<dovrel::UnixCommand, void>;
using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;
using UNIXNetworkInfo = sysinfo::UNIXSystemInformation::UNIXNetworkInfo;
using UNIXCloneInfo = sysinfo::UNIXSystemInformation::UNIXCloneInfo;

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

struct Recovery {
    size_t cloneable, figures, times, throughput, lastError;
};
/** Seven figures of 32 bits and four times of the size of a `long` stand side by side. */
void expectRecovery(Recovery const& offsets);

struct ListCache {
    size_t size, records, mutex;
};
/** The type and the four exported objects. */
void expectListCaches(ListCache const& figures);

struct MemoryCache {
    size_t size, mutex;
};
void expectMemoryCache(MemoryCache const& figures);

struct Addresses {
    size_t size, storage;
};
/** The two types of addresses; and the sink of look-ups, which is a table alone. */
void expectAddresses(Addresses const& figures);

struct NetworkFailure {
    size_t size, code, text;
};
void expectNetworkError(NetworkFailure const& figures);

struct Adapter {
    size_t cloneable, name, hostname, mac, lists;
};
/** Four lists stand side by side and end the record: addresses, masks, name servers, gateways. */
void expectAdapter(Adapter const& offsets);

struct Failure {
    size_t reason, code, message, line;
};
void expectFailure(Failure const& offsets);

struct Child {
    size_t slave, master, errors, command, pid, stdInOut, stdErr, status;
};
/** A child that has been started. */
void expectChild(Child const& offsets);

struct StreamBuffer {
    size_t command, pipe, output, input, putBack, timeout;
};
void expectStreamBuffer(StreamBuffer const& offsets);

struct ChildStream {
    size_t command, output, errors, errorStream;
};
void expectChildStream(ChildStream const& offsets);

}
