#pragma once

#include "common/basic/processstream/src/process_exception.h"
#include "tests/common/processstream/ProcessCalls.h"

#include <cerrno>

namespace processcalls {

/** A call that a start makes, and the reason that a start throws when the call fails. */
struct StartStep {
    char const* name;
    Call call;
    Side side;
    unsigned number;
    int code;
    dovrel::reason_type reason;
};

/** In the order of the calls; the parent's first. */
inline constexpr StartStep START_STEPS[] = {
    {"socketpair", SOCKETPAIR, IN_PARENT, 1, EMFILE, dovrel::REASON_PIPE},
    {"posix_openpt", POSIX_OPENPT, IN_PARENT, 1, ENOSPC, dovrel::REASON_PSEUDO_TERMINAL},
    {"grantpt", GRANTPT, IN_PARENT, 1, EACCES, dovrel::REASON_PSEUDO_TERMINAL},
    {"unlockpt", UNLOCKPT, IN_PARENT, 1, EINVAL, dovrel::REASON_PSEUDO_TERMINAL},
    {"ptsname_r", PTSNAME_R, IN_PARENT, 1, ERANGE, dovrel::REASON_PSEUDO_TERMINAL},
    {"open of the terminal", OPEN, IN_PARENT, 1, ENOENT, dovrel::REASON_PSEUDO_TERMINAL},
    {"pipe2", PIPE2, IN_PARENT, 1, ENFILE, dovrel::REASON_PIPE},
    {"fork", FORK, IN_PARENT, 1, EAGAIN, dovrel::REASON_FORK},
    {"poll", POLL, IN_PARENT, 1, ENOMEM, dovrel::REASON_PIPE},
    {"read of the child's report", READ, IN_PARENT, 1, ECONNRESET, dovrel::REASON_PIPE},
    {"close of the master", CLOSE, IN_CHILD, 1, EIO, dovrel::REASON_PIPE},
    {"close of the error pipe", CLOSE, IN_CHILD, 2, EBADF, dovrel::REASON_PIPE},
    {"isatty", ISATTY, IN_CHILD, 1, ENOTTY, dovrel::REASON_PSEUDO_TERMINAL},
    {"tcgetattr", TCGETATTR, IN_CHILD, 1, EIO, dovrel::REASON_PSEUDO_TERMINAL},
    {"tcsetattr", TCSETATTR, IN_CHILD, 1, EINVAL, dovrel::REASON_PSEUDO_TERMINAL},
    {"close of standard input", CLOSE, IN_CHILD, 3, EIO, dovrel::REASON_PIPE},
    {"close of standard output", CLOSE, IN_CHILD, 4, ENOSPC, dovrel::REASON_PIPE},
    {"close of standard error", CLOSE, IN_CHILD, 5, EDQUOT, dovrel::REASON_PIPE},
    {"dup2 to standard input", DUP2, IN_CHILD, 1, EBADF, dovrel::REASON_PIPE},
    {"dup2 to standard output", DUP2, IN_CHILD, 2, EBUSY, dovrel::REASON_PIPE},
    {"dup2 to standard error", DUP2, IN_CHILD, 3, EMFILE, dovrel::REASON_PIPE},
};

}
