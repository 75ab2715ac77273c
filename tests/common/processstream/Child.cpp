#include "tests/common/processstream/Child.h"

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iterator>
#include <thread>

namespace child {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto PATIENCE = std::chrono::seconds(10);

}

std::string everythingFrom(Pipe& pipe)
{
    std::string text;
    char piece[4096];
    auto const deadline = Clock::now() + PATIENCE;
    for (;;) {
        int const count = pipe.read(piece, sizeof piece);
        if (count < 0)
            return text;
        if (Clock::now() > deadline)
            return text + "(and no end within ten seconds)";
        if (count == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        text.append(piece, static_cast<size_t>(count));
    }
}

std::string lineFrom(Pipe& pipe)
{
    std::string text;
    auto const deadline = Clock::now() + PATIENCE;
    for (;;) {
        char byte = 0;
        int const count = pipe.read(&byte, 1);
        if (count < 0 || byte == '\n')
            return text;
        if (Clock::now() > deadline)
            return text + "(and no newline within ten seconds)";
        if (count == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        else
            text += byte;
    }
}

int statusOf(Command& command)
{
    return command.exitCode(10000, 2);
}

void end(pid_t pid)
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

std::vector<int> addedTo(std::vector<int> const& earlier, std::vector<int> const& later)
{
    std::vector<int> added;
    std::set_difference(
        later.begin(), later.end(), earlier.begin(), earlier.end(), std::back_inserter(added));
    return added;
}

}
