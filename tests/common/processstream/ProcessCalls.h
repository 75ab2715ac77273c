#pragma once

#include "common/basic/noncopyable.h"

#include <sys/types.h>
#include <vector>

/**
 * Fakes of the C library's calls that start and watch a child.
 *
 * The test program defines functions of the same names. They call those of the C library unless
 * one of these objects changes that. Use one object of a kind at a time, and only while no other
 * thread starts a child.
 */
namespace processcalls {

enum Call : unsigned {
    SOCKETPAIR,
    POSIX_OPENPT,
    GRANTPT,
    UNLOCKPT,
    PTSNAME_R,
    OPEN,
    PIPE2,
    FCNTL,
    FORK,
    POLL,
    READ,
    WRITE,
    WAITPID,
    CLOSE,
    ISATTY,
    TCGETATTR,
    TCSETATTR,
    DUP2,
    KILL,
    THROW, // Counted; never fails.
    CALLS
};

enum Side { IN_PARENT, IN_CHILD };

/** @return the number of times that this process has made @p call since `forgetCalls`, since the
 * last `FailingCall` was made or, in a child, since the fork. */
unsigned callsMade(Call call);

void forgetCalls();

/** @return the process id of the child that the latest fork(2) made; 0 before the first. */
pid_t latestChild();

/** In a forked process of the tests: counts its calls as those of a parent. */
void becomeParent();

/** While it lives, one call fails. */
class FailingCall : dovrel::noncopyable_::noncopyable {
public:
    /**
     * @param code the `errno` that it sets.
     * @param number the call that fails, counted from 1. Counts from now on, in a child from the
     * fork on.
     */
    FailingCall(Call call, int code, Side side = IN_PARENT, unsigned number = 1);
    ~FailingCall();
};

/** While it lives, a child's isatty(3) takes this long. */
class SlowChild : dovrel::noncopyable_::noncopyable {
public:
    explicit SlowChild(unsigned milliseconds);
    ~SlowChild();
};

/** While it lives, each child of fork(2) calls @p work first. */
class WorkInChild : dovrel::noncopyable_::noncopyable {
public:
    explicit WorkInChild(void (*work)());
    ~WorkInChild();
};

/** While it lives, clock_nanosleep(2) takes a thousandth of its time. */
class ShortSleeps : dovrel::noncopyable_::noncopyable {
public:
    ShortSleeps();
    ~ShortSleeps();
};

/** While it lives, the calls of this program and its children are recorded. */
class RecordedCalls : dovrel::noncopyable_::noncopyable {
public:
    RecordedCalls();
    ~RecordedCalls();

    /** @return the calls of one side, in order. */
    std::vector<Call> madeBy(Side side) const;
};

/** While it lives, clock_nanosleep(2) returns at once and its time is recorded. */
class RecordedSleeps : dovrel::noncopyable_::noncopyable {
public:
    RecordedSleeps();
    ~RecordedSleeps();

    /** @return the milliseconds of each sleep, in order. */
    std::vector<unsigned> const& milliseconds() const { return m_milliseconds; }

    void add(unsigned milliseconds) { m_milliseconds.push_back(milliseconds); }

private:
    std::vector<unsigned> m_milliseconds;
};

}
