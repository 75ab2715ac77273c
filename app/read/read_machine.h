#pragma once

#include "app/model/Machine.h"

#include <functional>

namespace app {

class TraceOutput;

/** The extent of a reading. */
struct ReadRequest {
    Subjects subjects;
    bool loads = true; ///< Measure the processors' loads, which takes one second.

    /** Called before each subject is read; may be empty. */
    std::function<void(Subject)> began;
};

/**
 * Reads the machine that the program runs on.
 *
 * Takes one second where the loads are measured, and longer only where a tool or a filesystem does;
 * the other subjects are read during that second.
 *
 * @throws std::bad_alloc only
 */
Machine readMachine(ReadRequest const& request, TraceOutput& trace);

}
