#pragma once

#include <cerrno>
#include <string>
#include <system_error>

namespace testkit {

/** @throws std::system_error with `errno` and a message that names @p call and @p subject. */
[[noreturn]] inline void fail(std::string const& call, std::string const& subject)
{
    throw std::system_error(errno, std::generic_category(), call + " " + subject);
}

}
