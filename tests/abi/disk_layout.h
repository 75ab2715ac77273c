#pragma once

#include "common/basic/handle.h"
#include "common/basic/processstream/src/pistream.h"
#include "sysinfo/LinuxSystemInformation.h"

#include <cstddef>

/** Disks and what they are looked at with: see layout.h. */
namespace layout {

using OutputBuffer = basic_pbuf<char>;
using UNIXDiskInfo = sysinfo::UNIXSystemInformation::UNIXDiskInfo;
using LinuxPhysicalDiskInfo = sysinfo::LinuxSystemInformation::LinuxPhysicalDiskInfo;

struct MountedDisk {
    size_t cloneable, name, size, parents;
};
void expectMountedDisk(MountedDisk const& offsets);

struct PhysicalDisk {
    size_t cloneable, name, blocks, sectorSize, caption, partitions;
};
void expectPhysicalDisk(PhysicalDisk const& offsets);

struct Owner {
    size_t shared, count, value, closer;
};
/** A handle, and what it shares with its copies. */
void expectOwner(Owner const& offsets);

struct CommandOutput {
    size_t command, buffer, stream, bufferInStream, base;
};
/** The buffer, and the stream that has one. */
void expectCommandOutput(CommandOutput const& offsets);

}
