// The clock and the folders of a hostile machine: the program defines functions of the C library.

#include "tests/support/SystemCalls.h"
#include "tests/sysinfo/HostileCase.h"

#include <dirent.h>
#include <dlfcn.h>

#include <cstdlib>
#include <ctime>

namespace testkit {

int clockOffset = 0;
bool foldersAreEndless = false;

namespace {

template <class Function> Function nextOf(char const* name)
{
    auto const function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    if (!function)
        std::abort();
    return function;
}

}

}

// Replaces the kit's, which is weak.
extern "C" __attribute__((visibility("default"))) int clock_gettime(
    clockid_t clock, timespec* out) noexcept
{
    static auto const real = testkit::nextOf<int (*)(clockid_t, timespec*)>("clock_gettime");
    int const result = real(clock, out);
    if (result == 0 && clock == CLOCK_MONOTONIC) {
        out->tv_sec += testkit::clockOffset;
        testkit::SystemCalls::recordReading(*out);
    }
    return result;
}

/** At the end of a folder that has no end, begins again. */
extern "C" __attribute__((visibility("default"))) dirent64* readdir64(DIR* folder)
{
    static auto const real = testkit::nextOf<dirent64* (*)(DIR*)>("readdir64");
    dirent64* const entry = real(folder);
    if (entry || !testkit::foldersAreEndless)
        return entry;
    ::rewinddir(folder);
    return real(folder);
}
