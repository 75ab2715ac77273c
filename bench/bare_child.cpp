#include "bench/bare_child.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace bench {

namespace {

void expect(bool succeeded, char const* call)
{
    if (!succeeded)
        throw std::system_error(errno, std::generic_category(), call);
}

bool makeRaw(int terminal)
{
    termios mode;
    if (tcgetattr(terminal, &mode) != 0)
        return false;
    cfmakeraw(&mode);
    mode.c_cc[VMIN] = 0;
    mode.c_cc[VTIME] = 1;
    return tcsetattr(terminal, TCSANOW, &mode) == 0;
}

void makeNonBlocking(int file)
{
    expect(fcntl(file, F_SETFL, fcntl(file, F_GETFL) | O_NONBLOCK) == 0, "fcntl");
}

}

BareChild::BareChild(char const* command)
{
    expect(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_status) == 0, "socketpair");
    m_master = posix_openpt(O_RDWR | O_CLOEXEC);
    expect(m_master >= 0 && grantpt(m_master) == 0 && unlockpt(m_master) == 0, "posix_openpt");
    char name[64];
    expect(ptsname_r(m_master, name, sizeof name) == 0, "ptsname_r");
    m_slave = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    expect(m_slave >= 0, name);
    expect(pipe2(m_errors, O_CLOEXEC) == 0, "pipe2");

    m_pid = fork();
    expect(m_pid >= 0, "fork");
    if (m_pid == 0)
        becomeShell(command);
    close(m_slave);
    close(m_errors[1]);
    makeNonBlocking(m_errors[0]);
    makeNonBlocking(m_master);

    pollfd word{m_status[0], POLLIN, 0};
    expect(poll(&word, 1, 1000) == 1, "poll");
    char text[80];
    expect(read(m_status[0], text, sizeof text) == 0, "the child's set-up");
}

void BareChild::becomeShell(char const* command)
{
    close(m_master);
    close(m_errors[0]);
    if (isatty(m_slave) != 1 || !makeRaw(m_slave))
        _exit(1);
    close(STDIN_FILENO);
    close(STDOUT_FILENO);
    close(STDERR_FILENO);
    if (dup2(m_slave, STDIN_FILENO) < 0 || dup2(m_slave, STDOUT_FILENO) < 0
        || dup2(m_errors[1], STDERR_FILENO) < 0)
        _exit(1);
    static char language[] = "LANG=C";
    putenv(language);
    shutdown(m_status[1], SHUT_RDWR);
    execl("/bin/sh", "sh", "-c", command, static_cast<char*>(nullptr));
    _exit(1);
}

BareChild::~BareChild()
{
    for (int file : {m_master, m_errors[0], m_status[0], m_status[1]})
        close(file);
    waitForEnd();
}

void BareChild::makeReadsBlock()
{
    expect(fcntl(m_master, F_SETFL, fcntl(m_master, F_GETFL) & ~O_NONBLOCK) == 0, "fcntl");
}

bool BareChild::hasEnded()
{
    if (!m_ended)
        m_ended = waitpid(m_pid, nullptr, WNOHANG) == m_pid;
    return m_ended;
}

void BareChild::pollForEnd()
{
    while (!hasEnded())
        usleep(1000);
}

void BareChild::waitForEnd()
{
    while (!m_ended)
        m_ended = waitpid(m_pid, nullptr, 0) == m_pid;
}

}
