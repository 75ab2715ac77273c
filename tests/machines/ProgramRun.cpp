#include "tests/machines/ProgramRun.h"

#include "tests/support/SystemFailure.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace machines {

namespace {

using testkit::fail;

constexpr unsigned short ROWS = 50;
constexpr int CHILD_FAILED = 127;

char const* const ENVIRONMENT[] = {"NO_COLOR=1",
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", "LANG=C.UTF-8",
    "TERM=xterm", "TZ=UTC0",
    "LD_LIBRARY_PATH=" DOVREL_LIBRARY_FOLDER, // The program's own search path needs the real /proc.
    // Of the fake machine alone:
    "LD_PRELOAD=" DOVREL_PRELOAD, "DOVREL_ANSWER=/testkit"};
constexpr size_t REAL_VARIABLES = std::size(ENVIRONMENT) - 2;

std::pair<int, int> openPipe()
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        fail("pipe2", "of the program");
    return {ends[0], ends[1]};
}

}

void ProgramRun::becomeProgram(std::vector<char*> const& command) const
{
    size_t const count = m_machine == FAKE ? std::size(ENVIRONMENT) : REAL_VARIABLES;
    std::vector<char*> environment;
    for (size_t i = 0; i < count; ++i)
        environment.push_back(const_cast<char*>(ENVIRONMENT[i]));
    environment.push_back(nullptr);
    execve(command.front(), command.data(), environment.data());
    _exit(CHILD_FAILED);
}

void ProgramRun::Channel::readSome()
{
    char piece[16384];
    ssize_t const count = read(descriptor, piece, sizeof piece);
    if (count > 0)
        text.append(piece, static_cast<size_t>(count));
    else
        close(); // A terminal without a writer is an input/output error.
}

void ProgramRun::Channel::close()
{
    if (descriptor >= 0)
        ::close(std::exchange(descriptor, -1));
}

ProgramRun::ProgramRun(std::vector<std::string> const& arguments,
    std::optional<unsigned short> columns, Machine machine)
    : m_machine(machine)
{
    std::vector<char*> command = {const_cast<char*>(DOVREL_PROGRAM)};
    for (std::string const& argument : arguments)
        command.push_back(const_cast<char*>(argument.c_str()));
    command.push_back(nullptr);
    if (columns)
        startOnTerminal(command, *columns);
    else
        startInPipe(command);
}

ProgramRun::~ProgramRun()
{
    end(true);
    m_output.close();
    m_errors.close();
}

void ProgramRun::startOnTerminal(std::vector<char*> const& command, unsigned short columns)
{
    winsize const size = {ROWS, columns, 0, 0};
    m_child = forkpty(&m_output.descriptor, nullptr, nullptr, &size);
    if (m_child == 0)
        becomeProgram(command);
    if (m_child < 0)
        fail("forkpty", "of the program");
    fcntl(m_output.descriptor, F_SETFD, FD_CLOEXEC);
}

void ProgramRun::startInPipe(std::vector<char*> const& command)
{
    auto const out = openPipe();
    auto const err = openPipe();
    m_output.descriptor = out.first;
    m_errors.descriptor = err.first;
    m_child = fork();
    if (m_child == 0) {
        int const nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (dup2(nothing, STDIN_FILENO) < 0 || dup2(out.second, STDOUT_FILENO) < 0
            || dup2(err.second, STDERR_FILENO) < 0)
            _exit(CHILD_FAILED);
        becomeProgram(command);
    }
    ::close(out.second);
    ::close(err.second);
    if (m_child < 0)
        fail("fork", "of the program");
}

void ProgramRun::end(bool kill)
{
    if (m_child < 0)
        return;
    // Not its descendants: those that hang wait for the end of the machine, see RUNNING_FIFO.
    if (kill)
        ::kill(m_child, SIGKILL);
    int status = 0;
    while (waitpid(m_child, &status, 0) < 0 && errno == EINTR) { }
    m_child = -1;
    m_killed = kill;
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool ProgramRun::finish(std::vector<ProgramRun*> const& runs, std::chrono::seconds limit)
{
    auto const deadline = std::chrono::steady_clock::now() + limit;
    for (;;) {
        std::vector<pollfd> waits;
        std::vector<Channel*> channels;
        for (ProgramRun* const run : runs)
            for (Channel* const channel : {&run->m_output, &run->m_errors})
                if (channel->descriptor >= 0) {
                    waits.push_back({channel->descriptor, POLLIN, 0});
                    channels.push_back(channel);
                }
        if (channels.empty() || std::chrono::steady_clock::now() > deadline)
            break;
        constexpr int LOOK_MS = 500;
        if (poll(waits.data(), waits.size(), LOOK_MS) < 0 && errno != EINTR)
            fail("poll", "the programs");
        for (size_t i = 0; i < waits.size(); ++i)
            if (waits[i].revents != 0)
                channels[i]->readSome();
    }
    bool inTime = true;
    for (ProgramRun* const run : runs) {
        bool const stillRuns = run->m_output.descriptor >= 0 || run->m_errors.descriptor >= 0;
        inTime = inTime && !stillRuns;
        run->end(stillRuns);
    }
    return inTime;
}

}
