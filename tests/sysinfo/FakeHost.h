#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace testkit {

/**
 * Replaces gethostname(2) and getsysinfo in the whole program, as `SystemCalls.h` describes.
 *
 * They use the one object that exists; without one both fail.
 */
class FakeHost {
public:
    using Identify = std::function<int(char*, char*, char*, int*)>;

    FakeHost();
    FakeHost(FakeHost const&) = delete;
    FakeHost& operator=(FakeHost const&) = delete;
    ~FakeHost();

    /** The name; cut and not terminated if the buffer is too small. */
    std::string name = "machine";

    bool nameFails = false;
    int nameCalls = 0;

    /** The host's definition of getsysinfo. */
    Identify identify;

    int identifications = 0;
};

}
