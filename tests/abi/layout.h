#pragma once

#include "common/basic/processstream/src/UnixCommand.h"
#include "sysinfo/LinuxSystemInformation.h"

#include <cstddef>

/** Compare live objects with the sizes and offsets, in bytes, of an architecture's test. */
namespace layout {

using sysinfo::SystemInformation;
using Pstream = pstream_wrapper<dovrel::UnixCommand, void>;
using UNIXCPUInfo = sysinfo::UNIXSystemInformation::UNIXCPUInfo;
using UNIXNetworkInfo = sysinfo::UNIXSystemInformation::UNIXNetworkInfo;
using UNIXCloneInfo = sysinfo::UNIXSystemInformation::UNIXCloneInfo;

struct StringFields {
    size_t heap, length, capacity, narrow;
};
void expectString(StringFields const& offsets);

struct SystemInformationFields {
    size_t lastError;
};
/** Both bases are at the start; the last error follows the table pointer. */
void expectSystemInformation(SystemInformationFields const& offsets);

struct RecordInterface {
    size_t size, cloneable;
};
/** For each of the abstract record classes. */
void expectRecordInterfaces(RecordInterface const& figures);

struct CPUInfoFields {
    size_t cloneable, index;
};
void expectUNIXCPUInfo(CPUInfoFields const& offsets);

struct CloneInfoFields {
    size_t cloneable, figures, times, throughput, lastError;
};
/** The seven 32-bit figures are adjacent, and so are the four times, each a `long`. */
void expectUNIXCloneInfo(CloneInfoFields const& offsets);

struct ListCache {
    size_t size, records, mutex;
};
/** Checks the type and the four exported objects. */
void expectListCaches(ListCache const& figures);

struct MemoryCache {
    size_t size, mutex;
};
void expectMemoryCache(MemoryCache const& figures);

struct Addresses {
    size_t size, storage;
};
/** Checks both address classes, and InsertFunctor, which is only a table pointer. */
void expectAddresses(Addresses const& figures);

struct NetworkErrorFields {
    size_t size, code, text;
};
void expectNetworkError(NetworkErrorFields const& figures);

struct NetworkInfoFields {
    size_t cloneable, name, hostname, mac, lists;
};
/** Four adjacent lists end the record: addresses, masks, name servers, gateways. */
void expectUNIXNetworkInfo(NetworkInfoFields const& offsets);

struct ProcessExceptionFields {
    size_t reason, code, message, line;
};
void expectProcessException(ProcessExceptionFields const& offsets);

struct UnixCommandFields {
    size_t slave, master, errors, command, pid, stdInOut, stdErr, status;
};
/** Starts a child and ends it. */
void expectUnixCommand(UnixCommandFields const& offsets);

struct PipestreambufFields {
    size_t command, pipe, output, input, putBack, timeout;
};
void expectPipestreambuf(PipestreambufFields const& offsets);

struct PstreamFields {
    size_t command, output, errors, errorStream;
};
void expectPstream(PstreamFields const& offsets);

}
