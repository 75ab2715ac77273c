#include "tests/app/LoopDisk.h"

#include "tests/app/own_machine_facts.h"
#include "tests/support/SystemFailure.h"
#include "tests/support/commands.h"

#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

namespace app_test {

LoopDisk::LoopDisk(std::string const& options)
{
    std::string const image = m_folder.file("image", "").string();
    if (::truncate(image.c_str(), SIZE) != 0)
        testkit::fail("truncate", image);
    m_path = lineOf(
        "losetup --partscan --find --show " + options + " " + quoted(image) + " 2>/dev/null");
    m_device = ::open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
    if (m_device < 0)
        testkit::fail("losetup", image);
    // The kernel keeps it until the last descriptor is closed.
    testkit::runs("losetup --detach " + m_path);
    // Not a table on the disk: not every kernel reads one.
    if (testkit::runs(
            "addpart " + m_path + " 1 2048 32768 && addpart " + m_path + " 2 40960 49152"))
        return;
    ::close(m_device);
    throw std::runtime_error("addpart: " + m_path);
}

LoopDisk::~LoopDisk()
{
    ::close(m_device);
}

}
