#include "tests/app/Program.h"

#include "tests/support/Channel.h"
#include "tests/support/capabilities.h"
#include "tests/support/user_namespace.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utmp.h>

namespace app_test {

using testkit::Channel;
using testkit::fail;

namespace {

constexpr int CHILD_FAILED = 127;

[[noreturn]] void childFailed(char const* what)
{
    std::string const message = std::string("the test's child failed: ") + what + "\n";
    (void)!write(STDERR_FILENO, message.data(), message.size());
    _exit(CHILD_FAILED);
}

/** Reads both outputs to their ends. @return false after a minute. */
bool readAll(Channel const& out, Channel const& err, Outcome& outcome)
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    pollfd waits[] = {{out.reader, POLLIN, 0}, {err.reader, POLLIN, 0}};
    std::string* const texts[] = {&outcome.out, &outcome.err};
    while (waits[0].fd >= 0 || waits[1].fd >= 0) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        if (poll(waits, 2, 1000) < 0 && errno != EINTR)
            fail("poll", "the program's output");
        for (int i = 0; i < 2; ++i) {
            if (waits[i].fd < 0 || waits[i].revents == 0)
                continue;
            char piece[4096];
            ssize_t const count = read(waits[i].fd, piece, sizeof(piece));
            if (count > 0)
                texts[i]->append(piece, static_cast<size_t>(count));
            else
                waits[i].fd = -1; // Reading a terminal that has no writer fails with EIO.
        }
    }
    return true;
}

}

pid_t Program::start(int out, int err, bool ownsTerminal) const
{
    pid_t const child = fork();
    if (child < 0)
        fail("fork", DOVREL_PROGRAM);
    if (child > 0)
        return child;
    try {
        become(out, err, ownsTerminal);
    } catch (std::system_error const& error) {
        childFailed(error.what());
    }
}

void Program::become(int out, int err, bool ownsTerminal) const
{
    if (ownsTerminal && login_tty(dup(out)) != 0)
        fail("login_tty", "of the test");
    if (dup2(err, STDERR_FILENO) < 0 || dup2(out, STDOUT_FILENO) < 0)
        fail("dup2", "of the outputs");
    if (closeOutput)
        close(STDOUT_FILENO);
    else if (!outputFile.empty()) {
        int const file = open(outputFile.c_str(), O_WRONLY | O_CLOEXEC);
        if (file < 0 || dup2(file, STDOUT_FILENO) < 0)
            fail("open", outputFile);
    }
    if (!replaced.empty()) {
        testkit::enterNamespaces(CLONE_NEWUSER | CLONE_NEWNS);
        testkit::dropFilePrivilegesOfChildren();
    }
    // Opened before any mount: a replacement may lie below a path that another one covers.
    std::vector<std::string> sources;
    for (auto const& [path, replacement] : replaced) {
        int const source = open(replacement.c_str(), O_PATH | O_CLOEXEC);
        sources.push_back("/proc/self/fd/" + std::to_string(source));
    }
    for (auto place = replaced.rbegin(); place != replaced.rend(); ++place) {
        char const* const path = place->first.c_str();
        if (mount(sources.back().c_str(), path, nullptr, MS_BIND | MS_REC, nullptr) != 0)
            fail("mount", path);
        sources.pop_back();
    }
    if (chdir(folder.c_str()) != 0)
        fail("chdir", folder);
    for (auto const& [name, value] : environment)
        setenv(name.c_str(), value.c_str(), 1);

    std::vector<char*> texts = {const_cast<char*>(DOVREL_PROGRAM)};
    for (std::string const& argument : arguments)
        texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    if (prepare)
        prepare();
    execv(DOVREL_PROGRAM, texts.data());
    fail("execv", DOVREL_PROGRAM);
}

Outcome Program::run() const
{
    Channel out = Channel::pipe();
    Channel err = errorIsTerminal ? Channel::terminal() : Channel::pipe();
    pid_t const child = start(out.writer, err.writer);
    out.writer.close();
    err.writer.close();

    Outcome outcome;
    bool const ended = readAll(out, err, outcome);
    if (!ended)
        kill(child, SIGKILL);
    outcome.status = waitForExit(child);
    if (!ended)
        throw std::runtime_error("the program did not end within a minute");
    if (outcome.status == CHILD_FAILED)
        throw std::runtime_error(outcome.err);
    return outcome;
}

Folder::Folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "app_test.XXXXXX").string();
    if (!mkdtemp(name.data()))
        fail("mkdtemp", name);
    m_path = name;
}

Folder::~Folder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::filesystem::path Folder::file(std::string const& name, std::string const& text) const
{
    std::filesystem::path const path = m_path / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    if (!(file << text << std::flush))
        fail("write", path);
    return path;
}

int waitForExit(pid_t child)
{
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        fail("waitpid", DOVREL_PROGRAM);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}
