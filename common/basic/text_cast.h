#pragma once

#include "common/basic/export.h"
#include "common/basic/macaddress.h"
#include "common/basic/wide_string.h"

namespace dovrel {

/**
 * Value to text.
 *
 * The result is @p first, then @p second, then the value: both texts lead, none of them trails.
 * Numbers are written with the digits of the classic locale whatever the global C++ locale is:
 * integers in decimal, `float` as a stream's default does (6 significant digits, the shorter of
 * fixed and scientific), a MAC address as its stream operator does.
 *
 * @tparam T `int`, `unsigned int`, `unsigned short`, `unsigned long long`, `float` or
 * `macaddress_cpp`.
 * @throws std::bad_alloc
 */
template <class T, class First, class Second>
string str_cast(T const& value, First const& first, Second const& second);

/** The same with @p first alone before the value. */
template <class T, class First> string str_cast(T const& value, First const& first)
{
    return str_cast<T, string, string>(value, first, string());
}

/** The same with nothing before the value. */
template <class T> string str_cast(T const& value)
{
    return str_cast<T, string>(value, string());
}

/**
 * Text to value, read as a stream with the classic locale reads it.
 *
 * Leading blanks are skipped, numbers are decimal (`0x1F` reads 0), reading stops at the first
 * character that cannot go on and what follows is ignored (`12abc` reads 12).
 *
 * @tparam T `int`, `long`, `long long` or `macaddress_cpp`.
 * @return @p fallback where the text is empty or blank, has no digits or overflows @p T. Never
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
