#pragma once

#include <utility>

namespace dovrel {

/**
 * Owner of one `Cloneable` object with value semantics: copying it copies the object.
 *
 * Holds one `T*`, possibly null, and nothing else. It never calls `delete`: an object is freed by
 * its own `destroy()`, in the library that made it. Moving hands the pointer over and leaves null
 * behind. Not safe for concurrent use of one `value_ptr`.
 *
 * @tparam T a class with `T* clone() const` and `void destroy()`, as `Cloneable<T>` has them.
 */
template <class T> class value_ptr {
public:
    value_ptr() noexcept = default;

    /** Takes ownership of @p object, which may be null. */
    explicit value_ptr(T* object) noexcept : m_object(object) { }

    /** Copies by `clone()`; null copies as null. @throws whatever `clone()` throws. */
    value_ptr(value_ptr const& other) : m_object(other.m_object ? other.m_object->clone() : nullptr)
    {
    }

    value_ptr(value_ptr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) { }

    ~value_ptr()
    {
        if (m_object)
            m_object->destroy();
    }

    /** Copies first and releases the former object last, so a failing `clone()` changes nothing. */
    value_ptr& operator=(value_ptr const& other)
    {
        if (this != &other)
            value_ptr(other).swap(*this);
        return *this;
    }

    value_ptr& operator=(value_ptr&& other) noexcept
    {
        value_ptr(std::exchange(other.m_object, nullptr)).swap(*this);
        return *this;
    }

    /** Releases the object, if there is one, and holds null. */
    void reset() noexcept { value_ptr().swap(*this); }

    void swap(value_ptr& other) noexcept { std::swap(m_object, other.m_object); }
    friend void swap(value_ptr& a, value_ptr& b) noexcept { a.swap(b); }

    T* get() const noexcept { return m_object; }
    T& operator*() const noexcept { return *m_object; }
    T* operator->() const noexcept { return m_object; }
    explicit operator bool() const noexcept { return m_object != nullptr; }

private:
    T* m_object = nullptr;
};

}
