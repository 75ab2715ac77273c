#include "tests/sysinfo/AnsweredHost.h"

#include "common/platform/getsysinfo.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace testkit {

namespace {

AnsweredHost* host = nullptr;

int fail()
{
    errno = EFAULT;
    return -1;
}

}

AnsweredHost::AnsweredHost()
{
    host = this;
}

AnsweredHost::~AnsweredHost()
{
    host = nullptr;
}

}

extern "C" __attribute__((visibility("default"))) int gethostname(char* name, size_t size) noexcept
{
    if (!testkit::host || testkit::host->nameFails)
        return testkit::fail();
    ++testkit::host->nameQuestions;
    std::string const& told = testkit::host->name;
    // gethostname(2): whether a cut name is terminated is not said.
    std::memcpy(name, told.c_str(), std::min(size, told.size() + 1));
    return 0;
}

extern "C" int getsysinfo(char* vendor, char* product, char* version, int* code)
{
    if (!testkit::host)
        return -1;
    ++testkit::host->identifications;
    return testkit::host->identify ? testkit::host->identify(vendor, product, version, code) : -1;
}
