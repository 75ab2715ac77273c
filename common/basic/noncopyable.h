#pragma once

namespace dovrel {

/** A separate namespace, so that argument-dependent look-up for a derived class does not search
 * `dovrel`. */
namespace noncopyable_ {

/** Base of classes that can be neither copied nor assigned. */
class noncopyable {
public:
    noncopyable(noncopyable const&) = delete;
    noncopyable& operator=(noncopyable const&) = delete;

protected:
    noncopyable() = default;
    ~noncopyable() = default;
};

}

namespace nonassignable_ {

/** Base of classes that can be copied but not assigned. */
class nonassignable {
public:
    nonassignable& operator=(nonassignable const&) = delete;

protected:
    nonassignable() = default;
    nonassignable(nonassignable const&) = default;
    ~nonassignable() = default;
};

}

}
