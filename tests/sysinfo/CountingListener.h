#pragma once

#include "sysinfo/parsers/dmidecode_output.h"

#include <cstddef>

namespace testkit {

/** Counts what the parser of a firmware dump reports. */
class CountingListener final : public sysinfo::FirmwareDumpListener {
public:
    void sectionLeft(std::string const&) override { ++sections; }
    void seekFailed() override { ++seeksFailed; }
    void sizeLine(std::string const&, uint64_t, std::string const&) override { ++sizeLines; }
    void sizeLineIgnored(std::string const&) override { ++ignored; }

    size_t sections = 0;
    size_t seeksFailed = 0;
    size_t sizeLines = 0;
    size_t ignored = 0;
};

}
