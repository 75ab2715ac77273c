#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace machines {

/** A run of the real program with an environment of its own. It starts with the object and ends, by
 * force where it has to, with it. */
class ProgramRun {
public:
    enum Machine {
        FAKE, ///< Calls are answered as the machine file has it.
        REAL
    };

    /**
     * @param columns the width of the terminal that standard input, output and error are; without
     * it output and error are pipes, and the input is empty.
     * @throws std::system_error
     */
    ProgramRun(std::vector<std::string> const& arguments, std::optional<unsigned short> columns,
        Machine machine = FAKE);
    ProgramRun(ProgramRun const&) = delete;
    ProgramRun& operator=(ProgramRun const&) = delete;
    ~ProgramRun();

    /** Reads what several runs write until all have ended.
     * @return false where @p limit is over before; those that still run are killed then. */
    static bool finish(std::vector<ProgramRun*> const& runs, std::chrono::seconds limit);

    /** What it wrote: on a terminal everything, in a pipe what it wrote to standard output. */
    std::string const& output() const { return m_output.text; }
    std::string const& errors() const { return m_errors.text; }

    /** @return the exit status, or minus the number of the signal that ended it. */
    int status() const { return m_status; }

    bool wasKilled() const { return m_killed; }

private:
    struct Channel {
        int descriptor = -1;
        std::string text;
        void readSome();
        void close();
    };

    [[noreturn]] void becomeProgram(std::vector<char*> const& command) const;
    void startOnTerminal(std::vector<char*> const& command, unsigned short columns);
    void startInPipe(std::vector<char*> const& command);
    void end(bool kill);

    Machine const m_machine;
    pid_t m_child = -1;
    Channel m_output;
    Channel m_errors;
    int m_status = 0;
    bool m_killed = false;
};

}
