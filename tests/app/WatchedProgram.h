#pragma once

#include "tests/app/Program.h"

#include <string>
#include <sys/types.h>
#include <termios.h>
#include <vector>

namespace app_test {

/** A run of the program whose standard output is read while it runs. It is ended by force with the
 * object. Every function throws where the system does not do what it is asked. */
class WatchedProgram {
public:
    /** Standard output is a pipe. */
    explicit WatchedProgram(Program const& program);

    /** Standard output and standard error are a terminal of so many columns, which is the
     * controlling one: what is typed there can interrupt the program (pty(7)). */
    WatchedProgram(Program const& program, unsigned short columns);

    WatchedProgram(WatchedProgram const&) = delete;
    WatchedProgram& operator=(WatchedProgram const&) = delete;
    ~WatchedProgram();

    /** Waits until the program has written the text, behind what was waited for before.
     * @throws std::runtime_error after half a minute. */
    void waitFor(std::string const& text);

    /** Waits until the program closes its output. @return as `Outcome::status`. */
    int waitForEnd();

    /** Everything that the program has written so far. */
    std::string const& output() const { return m_output; }

    void resize(unsigned short columns) const;
    void type(char key) const;
    termios modes() const;
    void signal(int number) const;

private:
    /** @return false at the end of the output. */
    bool readMore();

    pid_t m_child = -1;
    int m_end = -1;
    std::string m_output;
    size_t m_waitedFor = 0;
};

/** @return what stands on a terminal of so many columns, row by row, after the output; ASCII, in
 * which nothing but carriage returns and newlines move the cursor. */
std::vector<std::string> screenAfter(std::string const& output, size_t columns);

}
