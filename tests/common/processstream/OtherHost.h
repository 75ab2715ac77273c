#pragma once

#include <functional>
#include <ostream>
#include <string>

/**
 * Runs @p work in a process of its own, for what a test may not do to the program: close the
 * standard descriptors, raise limits, end badly.
 *
 * @param work writes to the stream what is not as it should be.
 * @return that text, with a line for an exception, a signal and a child left behind: empty where
 * all is well. It has a minute.
 */
std::string complaintsOfAnotherHost(std::function<void(std::ostream& complaints)> const& work);
