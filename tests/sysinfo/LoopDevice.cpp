#include "tests/sysinfo/LoopDevice.h"

#include "common/basic/handle.h"
#include "tests/support/SystemFailure.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>

using testkit::fail;

LoopDevice::LoopDevice(uint64_t bytes, unsigned sectorSize)
{
    int const backing = ::memfd_create("loop-device-test", MFD_CLOEXEC);
    auto const backingOwner = dovrel::autohandle(backing, ::close);
    if (backing < 0 || ::ftruncate(backing, static_cast<off_t>(bytes)) != 0)
        fail("memfd_create", "for a loop device");
    attach(backing, sectorSize);
}

void LoopDevice::attach(int backing, unsigned sectorSize)
{
    int const control = ::open("/dev/loop-control", O_RDWR | O_CLOEXEC);
    auto const controlOwner = dovrel::autohandle(control, ::close);
    if (control < 0)
        fail("open", "/dev/loop-control");
    // Another process may take the free device between the two calls.
    for (unsigned tries = 0; tries < 10; ++tries) {
        m_number = ::ioctl(control, LOOP_CTL_GET_FREE);
        if (m_number < 0)
            fail("ioctl", "/dev/loop-control");
        std::string const path = "/dev/" + name();
        m_device = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        if (m_device < 0)
            fail("open", path);
        loop_config config{};
        config.fd = static_cast<uint32_t>(backing);
        config.block_size = sectorSize;
        config.info.lo_flags = LO_FLAGS_AUTOCLEAR;
        if (::ioctl(m_device, LOOP_CONFIGURE, &config) == 0)
            return;
        int const code = errno;
        ::close(m_device);
        m_device = -1;
        errno = code;
        if (code != EBUSY)
            fail("ioctl", path);
    }
    fail("ioctl", "/dev/" + name());
}

LoopDevice::~LoopDevice()
{
    ::close(m_device);
}

void LoopDevice::makeNode(std::string const& path) const
{
    struct stat status { };
    if (::fstat(m_device, &status) != 0
        || ::mknod(path.c_str(), S_IFBLK | 0600, status.st_rdev) != 0)
        fail("mknod", path);
}

uint64_t LoopDevice::bytes() const
{
    uint64_t size = 0;
    if (::ioctl(m_device, BLKGETSIZE64, &size) != 0)
        fail("ioctl", name());
    return size;
}
