#pragma once

#include <functional>

/** Runs @p work on a thread with a stack of 64 KiB, and waits for it. */
void runOnSmallStack(std::function<void()> const& work);

/** Runs @p work on a thread for which a cancellation is pending, pthread_cancel(3). Expects that
 * the thread is cancelled. */
void runWithPendingCancellation(std::function<void()> const& work);
