#pragma once

#include "app/recording/Recording.h"

#include <cstddef>
#include <cstdint>

/** The largest recording that is written and read. A machine with 40 disks and 30 adapters has some
 * 3,000 items and some 10 MiB. Reading needs less than 256 MiB of memory whatever the archive is.
 */
namespace app {

constexpr uint64_t MEBIBYTE = uint64_t{1024} * 1024;

constexpr uint64_t MOST_ITEMS = 20'000; ///< files, later files, tools and answers together
constexpr uint64_t MOST_BYTES = 64 * MEBIBYTE; ///< of all contents together
constexpr uint64_t MOST_DOCUMENT = 16 * MEBIBYTE;
constexpr uint64_t MOST_MANIFEST = 16 * MEBIBYTE;
constexpr uint64_t MOST_VALUES =
    800'000; ///< JSON values and keys of the manifest, or of the document
constexpr int MOST_DEPTH = 8; ///< JSON values of the manifest in each other
constexpr int MOST_DOCUMENT_DEPTH = 32; ///< the same of the document
constexpr size_t MOST_PATH = 4096; ///< bytes, PATH_MAX
constexpr uint64_t MOST_PROCESSORS = 8192; ///< of a file; NR_CPUS of Linux on x86 is not larger

constexpr uint64_t MOST_MEMBERS = 3 * MOST_ITEMS; ///< of the archive, folders included
constexpr uint64_t MOST_PADDING = MEBIBYTE; ///< zeros at the end of the archive
constexpr uint64_t MOST_COMPRESSED = 96 * MEBIBYTE;

}
