#pragma once

#include <string>
#include <sys/types.h>

namespace app {

/**
 * A line on standard error that names what is being read, where reading takes longer than a
 * measurement of loads; nothing where standard error is no terminal.
 *
 * A child process draws it, because the program itself waits in a query. A thread would not do: the
 * program starts children that go on without exec(2), and a lock that another thread holds at that
 * moment is never released in them. fork(2).
 */
class ProgressLine {
public:
    /** @param wanted false shows nothing on a terminal either. Nothing is shown either where the
     * child cannot be started. */
    explicit ProgressLine(bool wanted);
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    /** Leaves an empty line with the cursor at its beginning. */
    ~ProgressLine();

    /** Names what is being read: "reading the disks ...". */
    void show(std::string const& text);

private:
    [[noreturn]] static void draw(int texts);

    int m_texts = -1; // A socket to the child. Each message is one packet.
    pid_t m_child = -1;
};

}
