#include "tests/sysinfo/OpenCalls.h"

#include <dlfcn.h>
#include <fcntl.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace testkit {

namespace {

OpenCalls* current = nullptr;

}

OpenCalls::OpenCalls(std::string path) : m_path(std::move(path))
{
    current = this;
}

OpenCalls::~OpenCalls()
{
    current = nullptr;
}

bool OpenCalls::fails(int flags)
{
    if ((flags & O_PATH) != 0)
        return false;
    m_flags.push_back(flags);
    if (m_interrupts > 0) {
        --m_interrupts;
        errno = EINTR;
        return true;
    }
    if (m_refusals > 0 && (flags & O_NONBLOCK) != 0) {
        --m_refusals;
        errno = m_refusal;
        return true;
    }
    if (m_before)
        m_before();
    return false;
}

}

// With 64-bit offsets, the headers rename open to open64.
extern "C" __attribute__((visibility("default"))) int open(char const* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    auto const mode = va_arg(arguments, mode_t); // Unused without O_CREAT.
    va_end(arguments);
    if (testkit::current && testkit::current->isFile(path) && testkit::current->fails(flags))
        return -1;
    using Open = int (*)(char const*, int, ...);
    static auto const real = reinterpret_cast<Open>(::dlsym(RTLD_NEXT, "open64"));
    if (!real)
        std::abort();
    return real(path, flags, mode);
}
