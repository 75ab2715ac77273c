#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace app {

/** Why a machine cannot be recorded or replayed. */
class RecordingError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

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
 * @param isStopped is called several times a second; where it is true, the run is killed
 * @return its standard output; its errors go nowhere
 * @throws std::system_error
 */
ProgramRunResult runPreloaded(std::vector<std::string> const& arguments,
    std::vector<std::pair<std::string, std::string>> const& variables,
    std::function<bool()> const& isStopped);

/** Starts this program again with the object preloaded, in place of this process.
 * @throws std::system_error
 * @throws RecordingError where the object is missing, or the first start did not preload it */
[[noreturn]] void startPreloaded(char const* const* arguments);

/** @throws RecordingError where the object is missing, or its path is none that LD_PRELOAD takes */
void checkPreloadedObject();

/** For a process that was started with the object and does not have it. @throws RecordingError */
[[noreturn]] void failToPreload();

/** @return what can be read until the end or an error. */
std::string readToEnd(int file);

}
