#pragma once

#include "tests/app/Program.h"
#include "tests/support/Channel.h"

#include <string>
#include <sys/types.h>
#include <termios.h>
#include <vector>

namespace app_test {

/** A run of the program whose standard output is read while it runs. The destructor kills it. A
 * system call that fails throws std::system_error. */
class WatchedProgram {
public:
    /** Standard output is a pipe. */
    explicit WatchedProgram(Program const& program);

    /** Standard input, output and error are the controlling terminal (pty(7)), @p columns wide: a
     * typed Control-C interrupts the program. */
    WatchedProgram(Program const& program, unsigned short columns);

    WatchedProgram(WatchedProgram const&) = delete;
    WatchedProgram& operator=(WatchedProgram const&) = delete;
    ~WatchedProgram();

    /** Waits until the program writes @p text, after the text of the previous call.
     * @throws std::runtime_error after half a minute. */
    void waitFor(std::string const& text);

    /** Waits until the program closes its output. @return as `Outcome::status`. */
    int waitForEnd();

    /** @return the output so far. */
    std::string const& output() const { return m_output; }

    void resize(unsigned short columns) const;
    void type(char key) const;
    termios modes() const;
    void signal(int number) const;

private:
    WatchedProgram(Program const& program, testkit::Channel channel, bool isTerminal);

    /** @return false at the end of the output. */
    bool readMore();

    testkit::Descriptor m_end;
    pid_t m_child;
    std::string m_output;
    size_t m_waitedFor = 0;
};

/** @return the rows of a terminal with @p columns that received @p output, which is ASCII: carriage
 * returns and newlines alone move the cursor. */
std::vector<std::string> screenAfter(std::string const& output, size_t columns);

}
