#include "tests/app/WatchedProgram.h"

#include <chrono>
#include <csignal>
#include <poll.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace app_test {

using testkit::Channel;
using testkit::fail;

namespace {

constexpr unsigned short ROWS = 24;

void setWidth(int terminal, unsigned short columns)
{
    winsize const size = {ROWS, columns, 0, 0};
    if (ioctl(terminal, TIOCSWINSZ, &size) != 0)
        fail("ioctl", "TIOCSWINSZ");
}

Channel terminalOf(unsigned short columns)
{
    Channel terminal = Channel::terminal();
    setWidth(terminal.reader, columns);
    return terminal;
}

}

WatchedProgram::WatchedProgram(Program const& program, Channel channel, bool isTerminal)
    : m_end(std::move(channel.reader)),
      m_child(program.start(
          channel.writer, isTerminal ? int{channel.writer} : STDERR_FILENO, isTerminal))
{
}

WatchedProgram::WatchedProgram(Program const& program)
    : WatchedProgram(program, Channel::pipe(), false)
{
}

WatchedProgram::WatchedProgram(Program const& program, unsigned short columns)
    : WatchedProgram(program, terminalOf(columns), true)
{
}

WatchedProgram::~WatchedProgram()
{
    if (m_child > 0) {
        kill(m_child, SIGKILL);
        waitpid(m_child, nullptr, 0);
    }
}

bool WatchedProgram::readMore()
{
    constexpr int HALF_A_MINUTE = 30'000;
    pollfd wait = {m_end, POLLIN, 0};
    int const ready = poll(&wait, 1, HALF_A_MINUTE);
    if (ready < 0)
        fail("poll", "the program's output");
    if (ready == 0)
        throw std::runtime_error("the program wrote nothing more than: " + m_output);
    char piece[4096];
    ssize_t const count = read(m_end, piece, sizeof(piece));
    if (count <= 0)
        return false; // Reading a terminal that has no writer fails with EIO.
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
    return waitForExit(std::exchange(m_child, -1));
}

void WatchedProgram::resize(unsigned short columns) const
{
    setWidth(m_end, columns);
}

void WatchedProgram::type(char key) const
{
    if (write(m_end, &key, 1) != 1)
        fail("write", "to the terminal");
}

termios WatchedProgram::modes() const
{
    termios modes{};
    if (tcgetattr(m_end, &modes) != 0)
        fail("tcgetattr", "of the terminal");
    return modes;
}

void WatchedProgram::signal(int number) const
{
    if (kill(m_child, number) != 0)
        fail("kill", "the program");
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
