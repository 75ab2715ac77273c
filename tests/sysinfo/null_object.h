#pragma once

namespace testkit {

/** @return null, which the compiler cannot know. */
template <class T> [[gnu::noipa]] T* nullObject()
{
    return nullptr;
}

/**
 * Calls `destroy()` of exactly the class @p T without an object.
 *
 * The call is undefined in C++, but the library promises that it does nothing, for hosts that call
 * it so; the sanitizer, which is right to object, is told to look away.
 */
template <class T> [[gnu::noipa, gnu::no_sanitize("undefined")]] void destroyNull()
{
    nullObject<T>()->T::destroy();
}

}
