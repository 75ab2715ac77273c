#pragma once

#include <cstdint>
#include <sys/statvfs.h>

namespace app {

/**
 * The whole size of a filesystem.
 *
 * The library's size counts the low 32 bits of the number of blocks, which is too little from 16
 * TiB on with blocks of 4 KiB.
 *
 * @param status of the same filesystem; statvfs(3).
 */
uint64_t wholeSize(uint64_t librarySize, struct statvfs const& status);

}
