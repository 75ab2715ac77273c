#pragma once

namespace preload {

/** @return whether the second sample of the kernel's counters is due: the program has slept since
 * the first one, or done other work for as long. */
bool isLater();

/** Notes a read of the kernel's counters. */
void noteSample();

}
