#pragma once

#include <string>
#include <vector>

namespace machines {

/** Where the preloaded object finds the answers of calls. */
inline constexpr char const* ANSWERS_FILE = "/testkit/answers";

/** A FIFO that has a writer, who writes nothing, as long as the machine runs. */
inline constexpr char const* RUNNING_FIFO = "/testkit/running";

/** Makes one thing of the machine: a file, a link, the answer of a call and so on.
 * @throws std::exception */
void buildEntry(std::string const& text, std::vector<std::string> const& body);

}
