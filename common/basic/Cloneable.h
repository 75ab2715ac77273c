#pragma once

#include "common/basic/export.h"

namespace dovrel {

/**
 * Base of classes that copy and free their own objects.
 *
 * Both functions are virtual, so that the library that contains the class allocates and frees the
 * memory, whichever allocator the host uses. A `value_ptr` is the usual owner. The slot order
 * (destructor, `clone`, `destroy`) is part of the binary interface.
 *
 * @tparam T the type that `clone()` returns, normally the derived class.
 */
template <class T> class DOVREL_EXPORT Cloneable {
public:
    virtual ~Cloneable() = default;

    /** @return a deep copy of the same dynamic type, which the caller owns. */
    virtual T* clone() const = 0;

    /** Frees the object. The pointer must not be used afterwards. */
    virtual void destroy() = 0;

protected:
    Cloneable() = default;
    Cloneable(Cloneable const&) = default;
    Cloneable& operator=(Cloneable const&) = default;
};

/**
 * @return whether @p object is null. The optimiser cannot remove the call.
 *
 * `destroy()` of this library's classes does nothing if it is called on a null pointer. In a member
 * function, the compiler assumes that `this` is not null and would remove a direct test.
 */
DOVREL_EXPORT bool isNullObject(void const* object) noexcept;

/** Deletes @p object unless it is null, even if it is `this`. For use in `destroy()`. */
template <class T> void deleteUnlessNull(T* object)
{
    if (!isNullObject(object))
        delete object;
}

}
