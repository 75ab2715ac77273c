#pragma once

#include <functional>
#include <vector>

/**
 * Runs @p work in a forked process, for tests that close standard descriptors, change limits or
 * could end the test program.
 *
 * Each failed expectation of @p work becomes a failure of the running test. So does an exception
 * that leaves @p work, a child that it leaves behind, and a process that a signal ends or that
 * takes longer than a minute.
 */
void inForkedProcess(std::function<void()> const& work);

/** Runs @p work in forked processes, one for each non-empty set of closed descriptors out of 0, 1
 * and 2. */
void withStandardDescriptorsClosed(std::function<void(std::vector<int> const& closed)> const& work);
