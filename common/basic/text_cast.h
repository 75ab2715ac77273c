#pragma once

#include "common/basic/export.h"
#include "common/basic/macaddress.h"
#include "common/basic/wide_string.h"

namespace dovrel {

/**
 * Converts a value to a string.
 *
 * @return @p first, then @p second, then the value. Integers are decimal. A `float` has the default
 * format of a stream (6 significant digits, the shorter of fixed and scientific), and a MAC address
 * that of its `operator<<`. Numbers are in the classic locale's format, whatever the global C++
 * locale is.
 *
 * @tparam T `int`, `unsigned int`, `unsigned short`, `unsigned long long`, `float` or
 * `macaddress_cpp`.
 * @throws std::bad_alloc
 */
template <class T, class First, class Second>
string str_cast(T const& value, First const& first, Second const& second);

/** @return @p first, then the value. */
template <class T, class First> string str_cast(T const& value, First const& first)
{
    return str_cast<T, string, string>(value, first, string());
}

/** @return the value alone. */
template <class T> string str_cast(T const& value)
{
    return str_cast<T, string>(value, string());
}

/**
 * Converts a string to a value, like `>>` of a stream with the classic locale.
 *
 * Skips leading white space and ignores everything after the value: `12abc` gives 12. Numbers are
 * decimal: `0x1F` gives 0.
 *
 * @tparam T `int`, `long`, `long long` or `macaddress_cpp`.
 * @return the value; @p fallback if the text is blank, has no digits or is out of range. Never
 * reports an error.
 */
template <class T> T literal_cast(string const& text, T const& fallback);

#define DOVREL_STR_CAST_INSTANCE(PREFIX, TYPE)                                                     \
    PREFIX template DOVREL_EXPORT string str_cast(TYPE const&, string const&, string const&);      \
    PREFIX template DOVREL_EXPORT string str_cast(TYPE const&, string const&);                     \
    PREFIX template DOVREL_EXPORT string str_cast(TYPE const&);

#define DOVREL_TEXT_CAST_INSTANCES(PREFIX)                                                         \
    DOVREL_STR_CAST_INSTANCE(PREFIX, int)                                                          \
    DOVREL_STR_CAST_INSTANCE(PREFIX, unsigned int)                                                 \
    DOVREL_STR_CAST_INSTANCE(PREFIX, unsigned short)                                               \
    DOVREL_STR_CAST_INSTANCE(PREFIX, unsigned long long)                                           \
    DOVREL_STR_CAST_INSTANCE(PREFIX, float)                                                        \
    DOVREL_STR_CAST_INSTANCE(PREFIX, macaddress_cpp)                                               \
    PREFIX template DOVREL_EXPORT int literal_cast(string const&, int const&);                     \
    PREFIX template DOVREL_EXPORT long literal_cast(string const&, long const&);                   \
    PREFIX template DOVREL_EXPORT long long literal_cast(string const&, long long const&);         \
    PREFIX template DOVREL_EXPORT macaddress_cpp literal_cast(string const&, macaddress_cpp const&);

DOVREL_TEXT_CAST_INSTANCES(extern)

}
