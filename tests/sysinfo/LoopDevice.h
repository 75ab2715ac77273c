#pragma once

#include "common/basic/noncopyable.h"

#include <cstdint>
#include <string>

/** A real block device in memory, loop(4). Its destructor removes it. */
class LoopDevice : dovrel::noncopyable_::noncopyable {
public:
    /** @throws std::system_error when this process may not make one. */
    LoopDevice(uint64_t bytes, unsigned sectorSize);
    ~LoopDevice();

    /** @return the kernel's name, for example `loop7`. */
    std::string name() const { return "loop" + std::to_string(m_number); }

    /** Makes a device node of another name. @throws std::system_error */
    void makeNode(std::string const& path) const;

    /** @return the size that the device itself reports. */
    uint64_t bytes() const;

private:
    void attach(int backing, unsigned sectorSize);

    int m_number = -1;
    int m_device = -1;
};
