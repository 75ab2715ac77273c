#pragma once

#include "tests/sysinfo/FaultCalls.h"

#include <dlfcn.h>

#include <cstdlib>

namespace testkit {

/** @return the C library's function, or a sanitizer's wrapper of it. */
template <class Function> Function theRealOne(char const* name)
{
    auto const function = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name));
    if (!function)
        std::abort();
    return function;
}

}

/** Defines a function that fails where a fault wants it to. With 64-bit offsets, the headers rename
 * some functions to @p real, their 64-bit names. */
#define FAULT_CALL(result, name, real, failed, parameters, arguments, specifier)                   \
    result name parameters specifier                                                               \
    {                                                                                              \
        static auto const found = testkit::theRealOne<result(*) parameters>(real);                 \
        return testkit::faultCalls.fails(#name) ? failed : found arguments;                        \
    }

/** Defines one that releases its argument even if it reports an error. */
#define FAULT_CALL_RELEASING(name, parameter, argument)                                            \
    int name(parameter)                                                                            \
    {                                                                                              \
        static auto const found = testkit::theRealOne<int (*)(parameter)>(#name);                  \
        int const error = testkit::faultCalls.errorOf(#name);                                      \
        int const result = found(argument);                                                        \
        if (error == 0)                                                                            \
            return result;                                                                         \
        errno = error;                                                                             \
        return -1;                                                                                 \
    }
