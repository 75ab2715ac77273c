#pragma once

#include "common/basic/processstream/src/process_exception.h"
#include "tests/common/processstream/ProcessCalls.h"

#include <cerrno>

namespace processcalls {

/** A call of the start-up, and the reason that its failure is given. */
struct StartStep {
    char const* name;
    Call call;
    Side side;
    unsigned number;
    int code;
    dovrel::reason_type reason;
    char const* source; // How UnixCommand.cpp writes the call, and nothing else.
};

inline constexpr StartStep START_STEPS[] = {
    {"socketpair", SOCKETPAIR, IN_PARENT, 1, EMFILE, dovrel::REASON_PIPE, "::socketpair("},
    {"posix_openpt", POSIX_OPENPT, IN_PARENT, 1, ENOSPC, dovrel::REASON_PSEUDO_TERMINAL,
        "::posix_openpt("},
    {"grantpt", GRANTPT, IN_PARENT, 1, EACCES, dovrel::REASON_PSEUDO_TERMINAL, "::grantpt("},
    {"unlockpt", UNLOCKPT, IN_PARENT, 1, EINVAL, dovrel::REASON_PSEUDO_TERMINAL, "::unlockpt("},
    {"ptsname_r", PTSNAME_R, IN_PARENT, 1, ERANGE, dovrel::REASON_PSEUDO_TERMINAL, "::ptsname_r("},
    {"open of the slave", OPEN, IN_PARENT, 1, ENOENT, dovrel::REASON_PSEUDO_TERMINAL, "::open("},
    {"pipe2", PIPE2, IN_PARENT, 1, ENFILE, dovrel::REASON_PIPE, "::pipe2("},
    {"fork", FORK, IN_PARENT, 1, EAGAIN, dovrel::REASON_FORK, "::fork("},
    {"poll", POLL, IN_PARENT, 1, ENOMEM, dovrel::REASON_PIPE, "::poll("},
    {"read of the child's word", READ, IN_PARENT, 1, ECONNRESET, dovrel::REASON_PIPE,
        "::read(m_statusFds[0]"},
    {"close of the master", CLOSE, IN_CHILD, 1, EIO, dovrel::REASON_PIPE, "closed(m_masterFd)"},
    {"close of the error pipe", CLOSE, IN_CHILD, 2, EBADF, dovrel::REASON_PIPE,
        "closed(m_errFds[0])"},
    {"isatty", ISATTY, IN_CHILD, 1, ENOTTY, dovrel::REASON_PSEUDO_TERMINAL, "::isatty("},
    {"tcgetattr", TCGETATTR, IN_CHILD, 1, EIO, dovrel::REASON_PSEUDO_TERMINAL,
        "makeTermRaw(m_slaveFd)"},
    {"tcsetattr", TCSETATTR, IN_CHILD, 1, EINVAL, dovrel::REASON_PSEUDO_TERMINAL,
        "makeTermRaw(m_slaveFd)"},
    {"close of standard input", CLOSE, IN_CHILD, 3, EIO, dovrel::REASON_PIPE,
        "closed(STDIN_FILENO)"},
    {"close of standard output", CLOSE, IN_CHILD, 4, ENOSPC, dovrel::REASON_PIPE,
        "closed(STDOUT_FILENO)"},
    {"close of standard error", CLOSE, IN_CHILD, 5, EDQUOT, dovrel::REASON_PIPE,
        "closed(STDERR_FILENO)"},
    {"dup2 to standard input", DUP2, IN_CHILD, 1, EBADF, dovrel::REASON_PIPE,
        "::dup2(m_slaveFd, STDIN_FILENO)"},
    {"dup2 to standard output", DUP2, IN_CHILD, 2, EBUSY, dovrel::REASON_PIPE,
        "::dup2(m_slaveFd, STDOUT_FILENO)"},
    {"dup2 to standard error", DUP2, IN_CHILD, 3, EMFILE, dovrel::REASON_PIPE,
        "::dup2(m_errFds[1], STDERR_FILENO)"},
};

}
