#pragma once

#include "app/model/Machine.h"

#include <chrono>
#include <functional>

namespace app {

class TraceOutput;

/** The extent of a reading. */
struct ReadRequest {
    Subjects subjects;
    bool loads = true; ///< Measure the processors' loads, which takes one second.

    /** The longest time for a tool, for a query of the library and for a filesystem. */
    std::chrono::steady_clock::duration toolLimit = std::chrono::seconds(5);

    /** Called before the wait for each subject; may be empty. */
    std::function<void(Subject)> began;
};

/**
 * Reads the machine that the program runs on, and runs the library's queries.
 *
 * Takes one second where the loads are measured, and longer only where a tool or a filesystem does,
 * up to the limit.
 *
 * A child process that cannot be started costs its own answer, with the reason.
 *
 * @throws std::bad_alloc only
 */
Machine readMachine(ReadRequest const& request, TraceOutput& trace);

}
