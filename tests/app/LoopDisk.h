#pragma once

#include "tests/app/Program.h"

#include <cstdint>
#include <string>

namespace app_test {

/** A disk with partitions of 16 and of 24 MiB on a loop device, loop(4). It is removed with the
 * object, and when this process ends. */
class LoopDisk {
public:
    static constexpr uint64_t SIZE = uint64_t{48} * 1024 * 1024;

    /** @param options of losetup(8). @throws std::runtime_error where this process may not make
     * one. */
    explicit LoopDisk(std::string const& options = {});
    LoopDisk(LoopDisk const&) = delete;
    LoopDisk& operator=(LoopDisk const&) = delete;
    ~LoopDisk();

    std::string const& path() const { return m_path; } ///< "/dev/loop7"
    std::string name() const { return m_path.substr(5); }
    std::string partition(int number) const { return m_path + "p" + std::to_string(number); }

private:
    Folder m_folder;
    std::string m_path;
    int m_device = -1;
};

}
