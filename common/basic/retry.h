#pragma once

#include <cerrno>

namespace dovrel {

/** Repeats a system call until no signal interrupts it. @param call returns -1 and sets `errno`. */
template <class Call> auto retryInterrupted(Call call)
{
    decltype(call()) result;
    do
        result = call();
    while (result == -1 && errno == EINTR);
    return result;
}

}
