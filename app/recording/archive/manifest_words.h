#pragma once

#include <array>

namespace app {

constexpr char const* RECORDING_SCHEMA = "dovrel-sysinfo-recording/1";

/** By RecordedFile::Kind. */
constexpr std::array<char const*, 6> KIND_WORDS = {
    "regular", "folder", "link", "block_device", "other", "absent"};

}
