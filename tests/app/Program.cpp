#include "tests/app/Program.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <poll.h>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace app_test {

namespace {

constexpr int CHILD_FAILED = 127;

[[noreturn]] void fail(std::string const& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/** An open descriptor. */
class Descriptor {
public:
    explicit Descriptor(int number, char const* what) : m_number(number)
    {
        if (number < 0)
            fail(what);
    }
    Descriptor(Descriptor const&) = delete;
    Descriptor& operator=(Descriptor const&) = delete;
    ~Descriptor() { close(); }

    int number() const { return m_number; }
    void close()
    {
        if (m_number >= 0)
            ::close(std::exchange(m_number, -1));
    }

private:
    int m_number;
};

/** What the child writes to, and where the test reads it. */
struct Channel {
    explicit Channel(std::pair<int, int> const& ends)
        : read(ends.first, "open a channel"), write(ends.second, "open a channel")
    {
    }
    Descriptor read;
    Descriptor write;
};

std::pair<int, int> openPipe()
{
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0)
        fail("pipe2");
    return {ends[0], ends[1]};
}

std::pair<int, int> openTerminal()
{
    int const master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0)
        fail("posix_openpt");
    return {master, open(ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC)};
}

[[noreturn]] void childFailed(char const* what)
{
    std::string const message = std::string("the test's child failed: ") + what + "\n";
    (void)!write(STDERR_FILENO, message.data(), message.size());
    _exit(CHILD_FAILED);
}

/** Reads until both are at their end. @return false when the time is over. */
bool readAll(Channel& out, Channel& err, Outcome& outcome)
{
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    pollfd waits[] = {{out.read.number(), POLLIN, 0}, {err.read.number(), POLLIN, 0}};
    std::string* const texts[] = {&outcome.out, &outcome.err};
    while (waits[0].fd >= 0 || waits[1].fd >= 0) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        if (poll(waits, 2, 1000) < 0 && errno != EINTR)
            fail("poll");
        for (int i = 0; i < 2; ++i) {
            if (waits[i].fd < 0 || waits[i].revents == 0)
                continue;
            char piece[4096];
            ssize_t const count = read(waits[i].fd, piece, sizeof(piece));
            if (count > 0)
                texts[i]->append(piece, static_cast<size_t>(count));
            else
                waits[i].fd = -1; // A terminal without a writer is an input/output error.
        }
    }
    return true;
}

}

void Program::become(int out, int err) const
{
    if (dup2(err, STDERR_FILENO) < 0 || dup2(out, STDOUT_FILENO) < 0)
        _exit(CHILD_FAILED);
    if (closeOutput)
        close(STDOUT_FILENO);
    else if (!outputFile.empty()) {
        int const file = open(outputFile.c_str(), O_WRONLY | O_CLOEXEC);
        if (file < 0 || dup2(file, STDOUT_FILENO) < 0)
            childFailed("open the output file");
    }
    if (!replaced.empty() && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        childFailed("this system gives no user and mount namespace");
    // A replacement may lie below a place that is replaced, and such a place below another.
    std::vector<std::string> sources;
    for (auto const& [path, replacement] : replaced) {
        int const source = open(replacement.c_str(), O_PATH | O_CLOEXEC);
        sources.push_back("/proc/self/fd/" + std::to_string(source));
    }
    for (auto place = replaced.rbegin(); place != replaced.rend(); ++place) {
        char const* const path = place->first.c_str();
        if (mount(sources.back().c_str(), path, nullptr, MS_BIND | MS_REC, nullptr) != 0)
            childFailed(path);
        sources.pop_back();
    }
    if (chdir(folder.c_str()) != 0)
        childFailed("chdir");
    for (auto const& [name, value] : environment)
        setenv(name.c_str(), value.c_str(), 1);

    std::vector<char*> texts = {const_cast<char*>(DOVREL_PROGRAM)};
    for (std::string const& argument : arguments)
        texts.push_back(const_cast<char*>(argument.c_str()));
    texts.push_back(nullptr);
    execv(DOVREL_PROGRAM, texts.data());
    childFailed("execv");
}

Outcome Program::run() const
{
    Channel out(openPipe());
    Channel err(errorIsTerminal ? openTerminal() : openPipe());
    pid_t const child = fork();
    if (child < 0)
        fail("fork");
    if (child == 0)
        become(out.write.number(), err.write.number());
    out.write.close();
    err.write.close();

    Outcome outcome;
    bool const ended = readAll(out, err, outcome);
    if (!ended)
        kill(child, SIGKILL);
    int status = 0;
    if (waitpid(child, &status, 0) != child)
        fail("waitpid");
    if (!ended)
        throw std::runtime_error("the program did not end within a minute");
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    if (outcome.status == CHILD_FAILED)
        throw std::runtime_error(outcome.err);
    return outcome;
}

Folder::Folder()
{
    std::string name = (std::filesystem::temp_directory_path() / "app_test.XXXXXX").string();
    if (!mkdtemp(name.data()))
        fail(name);
    m_path = name;
    // Inside a user namespace the program is nobody in particular.
    std::filesystem::permissions(
        m_path, std::filesystem::perms::others_exec, std::filesystem::perm_options::add);
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
        fail(path.string());
    return path;
}

std::vector<std::string> linesOf(std::string const& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

}
