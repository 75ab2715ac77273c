#include "tests/abi/library.h"

#include "sysinfo/plugin.h"

#include <dlfcn.h>

#include <stdexcept>

std::string libraryPath()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<void const*>(&libopen), &info) == 0)
        throw std::runtime_error("no file contains libopen");
    return info.dli_fname;
}
