#pragma once

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

/** Commands for the tests that run on the real root of the real machine. */
namespace testkit {

/** Sets a PATH with the folders of system tools, which an ordinary user's lacks. */
inline void setSystemPath()
{
    ::setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

/** @return what the shell command prints. */
inline std::string commandOutput(std::string const& command)
{
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const pipe(
        ::popen(command.c_str(), "re"), ::pclose);
    std::string output;
    for (int c = 0; pipe && (c = std::fgetc(pipe.get())) != EOF;)
        output += static_cast<char>(c);
    return output;
}

/** @return whether the shell command exits with 0. Its output is discarded. */
inline bool succeeds(std::string const& command)
{
    return std::system(("{ " + command + "; } >/dev/null 2>&1").c_str()) == 0;
}

}
