#pragma once

#include <string>
#include <utility>
#include <vector>

namespace app {

/** @return the path of the object that is preloaded into the program, whether it exists or not. */
std::string preloadedObject();

/** The end of a run of this program by itself. */
struct ProgramRunResult {
    int status = 0; ///< As of waitpid(2).
    std::string output;
};

/**
 * Runs this program with the object preloaded and the variables set, and waits for it.
 *
 * @return its standard output; its errors go nowhere
 * @throws std::system_error
 */
ProgramRunResult runPreloaded(std::vector<std::string> const& arguments,
    std::vector<std::pair<std::string, std::string>> const& variables);

}
