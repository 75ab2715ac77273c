#pragma once

#include "common/basic/export.h"

#include <exception>
#include <string>

namespace dovrel {

/**
 * The one exception of addresses and name resolution. Its code is what the failing call reported: a
 * value of getaddrinfo(3), an errno(3), or -1. There is no text per code on purpose: the message
 * names the number.
 */
class DOVREL_EXPORT NetworkError : public std::exception {
public:
    /** No error: code 0 and no message. */
    NetworkError() noexcept;
    explicit NetworkError(int code);
    NetworkError(NetworkError const&) = default;
    NetworkError& operator=(NetworkError const&) = default;
    ~NetworkError() override;

    NetworkError& operator=(int code);

    /** @return `Network Error: code = -2`. */
    char const* what() const noexcept override;

    /** Composes the message anew. */
    virtual void makeString();

    virtual std::string const& toString() const;

    int code() const noexcept { return m_code; }

    /** Whether there is an error. Not explicit: hosts return and pass it as a `bool`. */
    operator bool() const noexcept { return m_code != 0; }
    bool operator!() const noexcept { return m_code == 0; }

private:
    int m_code;
    std::string m_text;
};

}
