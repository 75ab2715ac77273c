#include "tests/app/WatchedProgram.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace app_test {

namespace {

constexpr unsigned short ROWS = 24;

[[noreturn]] void fail(char const* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

}

WatchedProgram::WatchedProgram(Program const& program)
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        fail("pipe2");
    m_end = ends[0];
    m_child = fork();
    if (m_child == 0)
        program.become(ends[1], STDERR_FILENO);
    close(ends[1]);
    if (m_child < 0)
        fail("fork");
}

WatchedProgram::WatchedProgram(Program const& program, unsigned short columns)
{
    winsize const size = {ROWS, columns, 0, 0};
    m_child = forkpty(&m_end, nullptr, nullptr, &size);
    if (m_child == 0)
        program.become(STDOUT_FILENO, STDOUT_FILENO);
    if (m_child < 0)
        fail("forkpty");
    fcntl(m_end, F_SETFD, FD_CLOEXEC);
}

WatchedProgram::~WatchedProgram()
{
    if (m_child > 0) {
        kill(m_child, SIGKILL);
        waitpid(m_child, nullptr, 0);
    }
    close(m_end);
}

bool WatchedProgram::readMore()
{
    constexpr int HALF_A_MINUTE = 30'000;
    pollfd wait = {m_end, POLLIN, 0};
    int const ready = poll(&wait, 1, HALF_A_MINUTE);
    if (ready < 0)
        fail("poll");
    if (ready == 0)
        throw std::runtime_error("the program wrote nothing more than: " + m_output);
    char piece[4096];
    ssize_t const count = read(m_end, piece, sizeof(piece));
    if (count <= 0)
        return false; // A terminal without a writer is an input/output error.
    m_output.append(piece, static_cast<size_t>(count));
    return true;
}

void WatchedProgram::waitFor(std::string const& text)
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    for (;;) {
        size_t const found = m_output.find(text, m_waitedFor);
        if (found != std::string::npos) {
            m_waitedFor = found + text.size();
            return;
        }
        if (std::chrono::steady_clock::now() > deadline || !readMore())
            throw std::runtime_error("no '" + text + "' in: " + m_output);
    }
}

int WatchedProgram::waitForEnd()
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (readMore())
        if (std::chrono::steady_clock::now() > deadline)
            throw std::runtime_error("the program does not end: " + m_output);
    int status = 0;
    if (waitpid(m_child, &status, 0) != m_child)
        fail("waitpid");
    m_child = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

void WatchedProgram::resize(unsigned short columns) const
{
    winsize const size = {ROWS, columns, 0, 0};
    if (ioctl(m_end, TIOCSWINSZ, &size) != 0)
        fail("TIOCSWINSZ");
}

void WatchedProgram::type(char key) const
{
    if (write(m_end, &key, 1) != 1)
        fail("write to the terminal");
}

termios WatchedProgram::modes() const
{
    termios modes{};
    if (tcgetattr(m_end, &modes) != 0)
        fail("tcgetattr");
    return modes;
}

void WatchedProgram::signal(int number) const
{
    if (kill(m_child, number) != 0)
        fail("kill");
}

std::vector<std::string> screenAfter(std::string const& output, size_t columns)
{
    std::vector<std::string> rows(1);
    size_t column = 0;
    for (char const c : output) {
        if (c == '\r') {
            column = 0;
        } else if (c == '\n') {
            rows.emplace_back();
        } else {
            if (column == columns) {
                rows.emplace_back();
                column = 0;
            }
            std::string& row = rows.back();
            if (row.size() <= column)
                row.resize(column + 1, ' ');
            row[column++] = c;
        }
    }
    for (std::string& row : rows)
        row.erase(row.find_last_not_of(' ') + 1);
    return rows;
}

}
