#pragma once

namespace app {

/**
 * Ends this process with a message and a status as soon as it has needed ten
 * seconds of the processor, or the soft limit that it was started with where that is less,
 * setrlimit(2). Waiting does not count. The time of children that have ended counts. A later child
 * counts its time separately, and ends without a message.
 *
 * A recording has bounds, but a hostile one may have, for example, 20,000 mounts, and some
 * comparisons take the square of such a number.
 */
void limitProcessorTime(int status);

}
