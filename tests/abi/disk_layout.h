#pragma once

#include "common/basic/handle.h"
#include "common/basic/processstream/src/pistream.h"
#include "sysinfo/LinuxSystemInformation.h"

#include <cstddef>

/** The same as layout.h for disks, handles and command streams. */
namespace layout {

using OutputBuffer = basic_pbuf<char>;
using UNIXDiskInfo = sysinfo::UNIXSystemInformation::UNIXDiskInfo;
using LinuxPhysicalDiskInfo = sysinfo::LinuxSystemInformation::LinuxPhysicalDiskInfo;

struct DiskInfoFields {
    size_t cloneable, name, size, parents;
};
void expectUNIXDiskInfo(DiskInfoFields const& offsets);

struct PhysicalDiskInfoFields {
    size_t cloneable, name, blocks, sectorSize, caption, partitions;
};
void expectPhysicalDiskInfo(PhysicalDiskInfoFields const& offsets);

struct HandleFields {
    size_t shared, count, value, closer;
};
/** Checks a handle and the holder that its copies share. */
void expectHandle(HandleFields const& offsets);

struct PistreamFields {
    size_t command, buffer, stream, bufferInStream, base;
};
/** Checks the buffer and the stream that contains one. */
void expectPistream(PistreamFields const& offsets);

}
