#pragma once

#include <string>
#include <vector>

namespace machines {

/** Where the preloaded object finds the answers of calls. */
inline constexpr char const* CALLS_FILE = "/testkit/calls";

/** A FIFO that has a writer, who writes nothing, as long as the machine runs. */
inline constexpr char const* RUNNING_FIFO = "/testkit/running";

/** @return the words of a line. Blanks separate them; a word in double quotes may have some. */
std::vector<std::string> wordsOf(std::string const& line);

/** Makes one thing of the machine: a file, a link, the answer of a call and so on.
 * @throws std::exception */
void buildEntry(std::string const& text, std::vector<std::string> const& body);

}
