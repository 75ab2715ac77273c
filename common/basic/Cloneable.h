#pragma once

#include "common/basic/export.h"

namespace dovrel {

/**
 * An object that makes deep copies of itself and disposes of itself.
 *
 * Both are virtual so that memory is always taken and returned by the library that holds the code
 * of the class, whichever allocator the host uses. A `value_ptr` is the usual owner. The slot order
 * (destructor, `clone`, `destroy`) is part of the binary interface.
 *
 * @tparam T the interface that `clone()` returns, normally the class that derives from this.
 */
template <class T> class DOVREL_EXPORT Cloneable {
public:
    virtual ~Cloneable() = default;

    /** @return a new deep copy, of the same concrete class, that the caller owns. */
    virtual T* clone() const = 0;

    /** Frees the object. The pointer must not be used afterwards. */
    virtual void destroy() = 0;

protected:
    Cloneable() = default;
    Cloneable(Cloneable const&) = default;
    Cloneable& operator=(Cloneable const&) = default;
};

/**
 * Tells whether an address is null, in a way that the compiler cannot answer beforehand.
 *
 * Inside a member function a compiler takes `this` for non-null and drops a direct test.
 * `destroy()` of this library's classes must do nothing when it is called without an object, so the
 * test is made out of line.
 */
DOVREL_EXPORT bool isNullObject(void const* object) noexcept;

/** Deletes @p object through its virtual destructor; does nothing where it is null. For use in
 * `destroy()`. */
template <class T> void deleteUnlessNull(T* object)
{
    if (!isNullObject(object))
        delete object;
}

}
