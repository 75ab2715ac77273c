#pragma once

#include "common/basic/processstream/src/pistream.h"

#include <cstddef>
#include <istream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace sysinfo {

/**
 * The output of a tool, as `pistream` reads it, with bounds that no real tool reaches. A tool that
 * writes without end must not take the host's memory.
 *
 * Reading beyond a bound throws `TooLarge`. The destructor closes the pipe and waits until the tool
 * ends, without a limit. A tool that writes gets SIGPIPE, or `EPIPE` where the host ignores that
 * signal, as children inherit this. One that is silent, or goes on all the same, holds the caller.
 */
class ToolOutput : public std::istream {
public:
    /** The largest output that is kept in memory, in bytes, and the longest line. `ifconfig -a` has
     * 7 MB with 10,000 adapters, `pvdisplay -c` 2 MB with 10,000 volumes. */
    static constexpr size_t LARGEST_TEXT = size_t{64} << 20;

    /** The largest output that is read line by line. `route -n` of a router with all routes of the
     * Internet has 80 MB. */
    static constexpr size_t LARGEST_OUTPUT = size_t{1} << 30;

    /** There is more output than the bound. `what()` is for the trace. */
    struct TooLarge : std::runtime_error {
        using std::runtime_error::runtime_error;
    };

    /** Starts @p command with `/bin/sh`. The stream is empty if that fails. But a lack of memory
     * throws std::bad_alloc, here and in an extraction. Without that, the list that is read from
     * the output could be shorter than the machine's. */
    explicit ToolOutput(std::string const& command, size_t largest = LARGEST_OUTPUT);

private:
    class Buffer : public basic_pbuf<char> {
    public:
        Buffer(std::string const& command, size_t largest);

    protected:
        int_type underflow() override;

    private:
        std::string const m_message;
        size_t m_left;
        size_t m_line = 0; ///< The bytes since the last newline.
    };

    Buffer m_buffer;
};

/** Runs @p command to its end. @return its output. It passes exceptions of its buffer to the
 * caller, too. @throws ToolOutput::TooLarge */
std::istringstream readOutput(std::string const& command);

}
