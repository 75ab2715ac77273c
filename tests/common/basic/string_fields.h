#pragma once

#include "tests/support/narrow.h"

#include <cstring>
#include <string>

/** The fields of a `dovrel::string` in the order that hosts were compiled with. */
struct StringFields {
    wchar_t small[8];
    wchar_t const* heap;
    unsigned length;
    unsigned capacity;
    char const* narrow;
};

static_assert(sizeof(StringFields) == sizeof(dovrel::string));

/** @return a bytewise copy of @p text; its pointers are the string's own. */
inline StringFields fieldsOf(dovrel::string const& text)
{
    StringFields fields;
    std::memcpy(&fields, static_cast<void const*>(&text), sizeof fields);
    return fields;
}

/** @return the wide characters of @p text. */
inline std::wstring wide(dovrel::string const& text)
{
    return {text.c_str(), text.length()};
}
