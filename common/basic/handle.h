#pragma once

#include "common/basic/export.h"

namespace dovrel {

/** Deletes @p object, which may be null. */
template <class T> void checked_delete(T* object)
{
    delete object;
}

template <class T, class Closer> class handles0;

/**
 * Owns a descriptor and the function that closes it. Copies share the descriptor; the destructor of
 * the last copy closes it.
 *
 * Threads: the use count is not atomic; a handle and its copies belong to one thread.
 */
template <class T> class DOVREL_EXPORT handle {
public:
    handle(handle const& other) noexcept : m_impl(other.m_impl), m_count(other.m_count)
    {
        if (m_count)
            ++*m_count;
    }
    handle& operator=(handle const&) = delete;
    virtual ~handle()
    {
        if (!m_count || --*m_count == 0) {
            checked_delete(m_impl);
            checked_delete(m_count);
        }
    }

protected:
    /** The object that the copies share. */
    class DOVREL_EXPORT impl {
    public:
        impl() = default;
        impl(impl const&) = delete;
        impl& operator=(impl const&) = delete;
        virtual ~impl() = 0;
    };

    /** Takes ownership of both objects, which `new` allocated. */
    handle(impl* shared, unsigned int* count) noexcept : m_impl(shared), m_count(count) { }

private:
    impl* m_impl;
    unsigned int* m_count;
};

template <class T> handle<T>::impl::~impl() = default;

/** A handle that closes its value with a function. */
template <class T, class Closer> class DOVREL_EXPORT handles0 : public handle<T> {
public:
    /**
     * Takes ownership of @p value. @p closer is called with it exactly once, also if it is -1 from
     * a failed open; that close(2) fails without effect.
     *
     * @throws std::bad_alloc after closing @p value.
     */
    handles0(T value, Closer closer) : handles0(allocate(value, closer)) { }
    handles0(handles0 const&) = default;
    handles0& operator=(handles0 const&) = delete;
    ~handles0() override = default;

private:
    class DOVREL_EXPORT impls0 : public handle<T>::impl {
    public:
        impls0(T value, Closer closer) noexcept : m_value(value), m_closer(closer) { }
        ~impls0() override { m_closer(m_value); }

    private:
        T m_value;
        Closer m_closer;
    };

    struct Parts {
        impls0* object;
        unsigned int* count;
    };

    explicit handles0(Parts parts) noexcept : handle<T>(parts.object, parts.count) { }

    static Parts allocate(T value, Closer closer)
    {
        unsigned int* count = nullptr;
        try {
            count = new unsigned int(1);
            return {new impls0(value, closer), count};
        } catch (...) {
            delete count;
            closer(value);
            throw;
        }
    }
};

/** @return a handle that owns @p value. @throws std::bad_alloc after closing @p value. */
template <class T, class Closer> handle<T> autohandle(T value, Closer closer)
{
    return handles0<T, Closer>(value, closer);
}

extern template class DOVREL_EXPORT handle<int>;
extern template class DOVREL_EXPORT handles0<int, int (*)(int)>;
extern template DOVREL_EXPORT handle<int> autohandle(int, int (*)(int));

}
