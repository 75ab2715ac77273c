#pragma once

#include "app/model/Machine.h"
#include "app/read/TimedChild.h"
#include "app/read/TraceOutput.h"

#include <sysinfo/SystemInformation.h>

#include <chrono>
#include <functional>
#include <map>

namespace app {

/**
 * Runs the library's queries at the same time, each in a separate child process.
 *
 * Some queries run tools, and a tool may never end: it costs its own query's answer and nothing
 * else. The recovery is the exception, see `readRecovery`.
 */
class LibraryQueries {
public:
    /**
     * Starts the queries of the subjects that @p machine was asked for.
     *
     * @param limit the longest time for one query.
     * @param trace receives the causes of failures; its messages are shown from the children.
     */
    LibraryQueries(
        Machine const& machine, std::chrono::steady_clock::duration limit, TraceOutput& trace);

    /**
     * Waits for the answers and stores them, those that did not come in time too.
     *
     * @param waiting is called before the wait for each; may be empty.
     */
    void finish(Machine& machine, std::function<void(Subject)> const& waiting);

private:
    std::chrono::steady_clock::duration const m_limit;
    std::chrono::steady_clock::time_point const m_begun;
    std::map<Subject, TimedChild> m_children;
};

/** @return the library's record of a recovery as a host gets it. */
LibraryRecord toLibraryRecord(sysinfo::SystemInformation::CloneInfo const& record);

}
