#pragma once

#include "common/basic/noncopyable.h"

#include <vector>

namespace testkit {

/** @return the numbers of all open descriptors; asks each one, as the machine's /proc is empty. */
std::vector<int> openDescriptors();

/**
 * Expects at its end the same descriptors to be open as at its beginning; adds a failure that lists
 * them otherwise. Every test is under one already: `main` sees to that.
 */
class DescriptorGuard : dovrel::noncopyable_::noncopyable {
public:
    DescriptorGuard();
    ~DescriptorGuard();

private:
    std::vector<int> m_before;
};

/** Adds a failure when the program has a child, running or not yet waited for. */
void expectNoChildren();

}
