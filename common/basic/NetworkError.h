#pragma once

#include "common/basic/export.h"

#include <exception>
#include <string>

namespace dovrel {

/**
 * The exception of addresses and name resolution. Its code comes from the call that failed: a
 * result of getaddrinfo(3), an errno(3) value, or -1. The message contains the code only as a
 * number.
 */
class DOVREL_EXPORT NetworkError : public std::exception {
public:
    /** Sets code 0, no error, and an empty message. */
    NetworkError() noexcept;

    /** Sets the code and composes the message. */
    explicit NetworkError(int code);
    NetworkError(NetworkError const&) = default;
    NetworkError& operator=(NetworkError const&) = default;
    ~NetworkError() override;

    /** Sets the code and composes the message, see `makeString`. */
    NetworkError& operator=(int code);

    /** @return for example `Network Error: code = -2`. */
    char const* what() const noexcept override;

    /** Composes the message again. */
    virtual void makeString();

    /** @return the same message. */
    virtual std::string const& toString() const;

    /** @return the code; 0 for no error. */
    int code() const noexcept { return m_code; }

    /** @return whether the code is not 0. Not explicit: hosts return and pass it as a `bool`. */
    operator bool() const noexcept { return m_code != 0; }

    /** @return whether the code is 0. */
    bool operator!() const noexcept { return m_code == 0; }

private:
    int m_code;
    std::string m_text;
};

}
