#pragma once

#include <cstddef>
#include <cstring>

/** Read an object at an offset in bytes, as a host that was compiled earlier does. */
namespace layout {

/** @return a copy of the @p T at @p offset. */
template <class T, class Object> T fieldAt(Object const& object, size_t offset)
{
    T value;
    std::memcpy(&value, reinterpret_cast<char const*>(&object) + offset, sizeof value);
    return value;
}

/** @return the @p T at @p offset, for a type that cannot be copied bytewise. */
template <class T, class Object> T const& partAt(Object const& object, size_t offset)
{
    return *reinterpret_cast<T const*>(reinterpret_cast<char const*>(&object) + offset);
}

/** @return where @p part, a member or base, begins in @p object. */
template <class Part, class Object> size_t offsetOf(Part const& part, Object const& object)
{
    return static_cast<size_t>(
        reinterpret_cast<char const*>(&part) - reinterpret_cast<char const*>(&object));
}

}
