#pragma once

#include <cerrno>

namespace dovrel {

/** Repeats a system call while it fails with `EINTR`. @return the result of the last call. */
template <class Call> auto retryInterrupted(Call call)
{
    decltype(call()) result;
    do
        result = call();
    while (result == -1 && errno == EINTR);
    return result;
}

}
