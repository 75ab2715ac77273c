#pragma once

#include "tests/support/SystemFailure.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace testkit {

/** @return the standard output of a shell command. @throws std::system_error */
inline std::string outputOf(std::string const& command)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const pipe(
        ::popen(command.c_str(), "re"), ::pclose);
    if (!pipe)
        fail("popen", command);
    std::string output;
    for (int c = 0; (c = std::fgetc(pipe.get())) != EOF;)
        output += static_cast<char>(c);
    return output;
}

/** Runs a shell command and discards its output. @return whether it exits with 0. */
inline bool runs(std::string const& command)
{
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

}
