#include "tests/sysinfo/FakeHost.h"

#include "common/platform/getsysinfo.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace testkit {

namespace {

FakeHost* host = nullptr;

int fail()
{
    errno = EFAULT;
    return -1;
}

}

FakeHost::FakeHost()
{
    host = this;
}

FakeHost::~FakeHost()
{
    host = nullptr;
}

}

extern "C" __attribute__((visibility("default"))) int gethostname(char* name, size_t size) noexcept
{
    if (!testkit::host || testkit::host->nameFails)
        return testkit::fail();
    ++testkit::host->nameCalls;
    std::string const& full = testkit::host->name;
    // gethostname(2) does not specify whether a cut name is terminated.
    std::memcpy(name, full.c_str(), std::min(size, full.size() + 1));
    return 0;
}

extern "C" int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    if (!testkit::host)
        return -1;
    ++testkit::host->identifications;
    return testkit::host->identify ? testkit::host->identify(vendor, product, version, code) : -1;
}
