#pragma once

namespace testkit {

/** @return null, in a way that the compiler cannot see. */
template <class T> [[gnu::noipa]] T* nullObject()
{
    return nullptr;
}

/**
 * Calls `destroy()` of exactly the class @p T without an object.
 *
 * The call is undefined in C++, but hosts make it and the library promises that it does nothing.
 * The sanitizer is off here, as it reports such a call.
 */
template <class T> [[gnu::noipa, gnu::no_sanitize("undefined")]] void destroyNull()
{
    nullObject<T>()->T::destroy();
}

}
