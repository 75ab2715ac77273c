#pragma once

#include <utility>

namespace dovrel {

/**
 * A smart pointer with value semantics: copying it copies the object.
 *
 * Contains one `T*`, which may be null, and nothing else. It never calls `delete`, but frees the
 * object with the object's own `destroy()`, in the library that created it. Moving leaves null
 * behind. Threads: one `value_ptr` belongs to one thread at a time.
 *
 * @tparam T a class with `T* clone() const` and `void destroy()`, as `Cloneable<T>` has them.
 */
template <class T> class value_ptr {
public:
    value_ptr() noexcept = default;

    /** Takes ownership of @p object, which may be null. */
    explicit value_ptr(T* object) noexcept : m_object(object) { }

    /** Copies the object with `clone()`, whose exceptions it throws; a copy of null is null. */
    value_ptr(value_ptr const& other) : m_object(other.m_object ? other.m_object->clone() : nullptr)
    {
    }

    value_ptr(value_ptr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) { }

    ~value_ptr()
    {
        if (m_object)
            m_object->destroy();
    }

    /** Clones before it frees the former object, so that a failed `clone()` changes nothing. */
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

    /** Frees the object, if any, and becomes null. */
    void reset() noexcept { value_ptr().swap(*this); }

    void swap(value_ptr& other) noexcept { std::swap(m_object, other.m_object); }
    friend void swap(value_ptr& a, value_ptr& b) noexcept { a.swap(b); }

    /** @return the object, which this still owns; may be null. */
    T* get() const noexcept { return m_object; }

    /** @return the object. Undefined for null, as is `->`. */
    T& operator*() const noexcept { return *m_object; }

    /** @return the object. */
    T* operator->() const noexcept { return m_object; }

    /** @return whether there is an object. */
    explicit operator bool() const noexcept { return m_object != nullptr; }

private:
    T* m_object = nullptr;
};

}
