#pragma once

#include "common/basic/export.h"

namespace dovrel {

/** Deletes @p object; null is ignored. */
template <class T> void checked_delete(T* object)
{
    delete object;
}

template <class T, class Closer> class handles0;

/**
 * Owner of a descriptor and of the way to close it. Copies share the descriptor; the last one to go
 * closes it.
 *
 * The use count is a plain one: a handle and its copies belong to one thread.
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
    /** What is shared. */
    class DOVREL_EXPORT impl {
    public:
        impl() = default;
        impl(impl const&) = delete;
        impl& operator=(impl const&) = delete;
        virtual ~impl() = 0;
    };

    /** Takes over both, which were made with `new`. */
    handle(impl* shared, unsigned int* count) noexcept : m_impl(shared), m_count(count) { }

private:
    impl* m_impl;
    unsigned int* m_count;
};

template <class T> handle<T>::impl::~impl() = default;

/** The handle of a value and a function that closes it. */
template <class T, class Closer> class DOVREL_EXPORT handles0 : public handle<T> {
public:
    /**
     * Takes over @p value and calls @p closer with it once, whatever it is: a failed open's -1 is
     * closed too, which does no harm.
     *
     * @throws std::bad_alloc when @p value is closed.
     */
    handles0(T value, Closer closer) : handles0(made(value, closer)) { }
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
        impls0* shared;
        unsigned int* count;
    };

    explicit handles0(Parts parts) noexcept : handle<T>(parts.shared, parts.count) { }

    static Parts made(T value, Closer closer)
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

/** @return the owner of @p value. @throws std::bad_alloc when @p value is closed. */
template <class T, class Closer> handle<T> autohandle(T value, Closer closer)
{
    return handles0<T, Closer>(value, closer);
}

extern template class DOVREL_EXPORT handle<int>;
extern template class DOVREL_EXPORT handles0<int, int (*)(int)>;
extern template DOVREL_EXPORT handle<int> autohandle(int, int (*)(int));

}
