#include "tests/common/processstream/Child.h"

#include "tests/support/DescriptorGuard.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <thread>

namespace child {

namespace {

/** Reads pieces of at most @p size bytes, up to the end of the data or to the byte @p last. */
std::string readUpTo(Pipe& pipe, int last, unsigned size)
{
    using Clock = std::chrono::steady_clock;
    auto const deadline = Clock::now() + std::chrono::seconds(10);
    std::string text;
    char piece[4096];
    for (;;) {
        int const count = pipe.read(piece, size);
        if (count < 0 || (count > 0 && piece[0] == last))
            return text;
        if (Clock::now() > deadline)
            return text + "(and no end within ten seconds)";
        if (count == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        text.append(piece, static_cast<size_t>(count));
    }
}

}

std::string readAll(Pipe& pipe)
{
    constexpr int NO_BYTE = 256;
    return readUpTo(pipe, NO_BYTE, 4096);
}

std::string readAll(std::istream& stream)
{
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string readLine(Pipe& pipe)
{
    return readUpTo(pipe, '\n', 1);
}

pid_t readPid(dovrel::UnixCommand& command)
{
    return std::stoi(readLine(command.stdInOut()));
}

int exitStatusOf(Command& command)
{
    return command.exitCode(10000, 2);
}

std::string outputOf(std::string const& command)
{
    dovrel::UnixCommand child(command);
    return readAll(child.stdInOut());
}

void waitUntilEnded(pid_t pid)
{
    siginfo_t ended{};
    EXPECT_EQ(::waitid(P_PID, static_cast<id_t>(pid), &ended, WEXITED | WNOWAIT), 0);
}

void killAndReap(pid_t pid)
{
    if (pid <= 1)
        return;
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
}

MissingFile::MissingFile(std::string path) : m_path(std::move(path))
{
    std::rename(m_path.c_str(), (m_path + ".away").c_str());
}

MissingFile::~MissingFile()
{
    std::rename((m_path + ".away").c_str(), m_path.c_str());
}

std::vector<int> openedSince(std::vector<int> const& earlier)
{
    std::vector<int> const now = testkit::openDescriptors();
    std::vector<int> opened;
    std::set_difference(
        now.begin(), now.end(), earlier.begin(), earlier.end(), std::back_inserter(opened));
    return opened;
}

}
