#pragma once

#include "common/basic/wide_string.h"

#include <cstring>

/** The fields of a `dovrel::string` in the order that hosts were compiled with. */
struct StringFields {
    wchar_t small[8];
    wchar_t const* heap;
    unsigned length;
    unsigned capacity;
    char const* narrow;
};

static_assert(sizeof(StringFields) == sizeof(dovrel::string));

/** @return a bytewise look into @p text; its pointers are the string's own. */
inline StringFields fieldsOf(dovrel::string const& text)
{
    StringFields fields;
    std::memcpy(&fields, static_cast<void const*>(&text), sizeof fields);
    return fields;
}
