#pragma once

namespace dovrel {

/** A namespace of its own keeps argument-dependent look-up from reaching `dovrel` through the base.
 */
namespace noncopyable_ {

/** Base of classes that own something which must not be owned twice: neither copied nor assigned.
 */
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

/** Base of classes that may be copied on construction but keep what they refer to afterwards. */
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
