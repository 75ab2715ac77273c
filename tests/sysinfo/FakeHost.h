#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace testkit {

/**
 * Answers gethostname(2) and getsysinfo for the whole program; see `SystemCalls.h` for how.
 *
 * The host that is alive answers; without one there is no name and no identification.
 */
class AnsweredHost {
public:
    using Identify = std::function<int(char*, char*, char*, int*)>;

    AnsweredHost();
    AnsweredHost(AnsweredHost const&) = delete;
    AnsweredHost& operator=(AnsweredHost const&) = delete;
    ~AnsweredHost();

    /** The name that the kernel would tell; cut, and not terminated, where there is no room. */
    std::string name = "machine";

    bool nameFails = false;
    int nameQuestions = 0;

    /** As the strong function of a host. */
    Identify identify;

    int identifications = 0;
};

}
