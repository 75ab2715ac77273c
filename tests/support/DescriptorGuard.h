#pragma once

#include "common/basic/noncopyable.h"

#include <vector>

namespace testkit {

/** @return the numbers of all open descriptors. Calls fcntl(2) for each number, as the fake /proc
 * has no list. */
std::vector<int> openDescriptors();

/**
 * Adds a failure if its destructor finds other open descriptors than its constructor. `main` makes
 * one for every test.
 */
class DescriptorGuard : dovrel::noncopyable_::noncopyable {
public:
    DescriptorGuard();
    ~DescriptorGuard();

private:
    std::vector<int> m_before;
};

/**
 * Waits for children that SIGKILL ends, for five seconds at most.
 *
 * The program waits a tenth of a second for a child that it kills, since one in an uninterruptible
 * call may stay. On a busy machine the kernel takes longer to remove it.
 */
void reapKilledChildren();

/** Adds a failure if the program has a child, running or not yet waited for. */
void expectNoChildren();

}
