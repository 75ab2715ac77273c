#pragma once

#include "tests/support/SystemFailure.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>

namespace testkit {

/** An open descriptor, closed with the object. */
class Descriptor {
public:
    /** Takes over @p number. @throws std::system_error that names @p call where it is negative. */
    Descriptor(int number, char const* call) : m_number(number)
    {
        if (number < 0)
            fail(call, "for a test");
    }
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) { }
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() { close(); }

    operator int() const { return m_number; }

    void close()
    {
        if (m_number >= 0)
            ::close(std::exchange(m_number, -1));
    }

private:
    int m_number;
};

/** Two connected descriptors, both close-on-exec: a test reads what a child process writes. */
struct Channel {
    /** A pipe(7). @throws std::system_error */
    static Channel pipe()
    {
        int ends[2] = {-1, -1};
        if (::pipe2(ends, O_CLOEXEC) != 0)
            fail("pipe2", "for a test");
        return {{ends[0], "pipe2"}, {ends[1], "pipe2"}};
    }

    /** A pseudo-terminal, pty(7): `reader` is the master, `writer` the slave.
     * @throws std::system_error */
    static Channel terminal()
    {
        Descriptor master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt");
        char const* const name =
            ::grantpt(master) == 0 && ::unlockpt(master) == 0 ? ::ptsname(master) : nullptr;
        if (!name)
            fail("ptsname", "for a test");
        return {std::move(master), {::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC), name}};
    }

    Descriptor reader;
    Descriptor writer;
};

}
