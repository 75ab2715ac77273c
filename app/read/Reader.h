#pragma once

#include "app/model/Machine.h"
#include "app/read/TraceOutput.h"

#include <sysinfo/LinuxSystemInformation.h>

#include <functional>
#include <string>

namespace app {

/**
 * Queries the library and collects the problems.
 *
 * A query that fails is a problem with the cause that the library's trace has at level 1.
 */
class Reader {
public:
    /** @param library must outlive the reader. */
    Reader(TraceOutput& trace, sysinfo::LinuxSystemInformation const& library)
        : m_trace(trace), m_library(library)
    {
    }

    sysinfo::LinuxSystemInformation const& library() const { return m_library; }

    /**
     * Runs one query.
     *
     * @param problem its subject, fact and source; its reason is used where the query returns false
     * without a cause in the trace.
     * @return the query's result, false where it throws; then @p machine has the problem. Outputs
     * that the query has set are left as they are.
     * @throws std::bad_alloc only
     */
    bool query(Machine& machine, Problem problem, std::function<bool()> const& query);

private:
    TraceOutput& m_trace;
    sysinfo::LinuxSystemInformation const& m_library;
};

/** Each fills its part of the machine. */
void readSystem(Reader& reader, Machine& machine);
void readProcessors(Reader& reader, Machine& machine);
void readMemory(Reader& reader, Machine& machine);
void readDisks(Reader& reader, Machine& machine);
void readMounts(Reader& reader, Machine& machine);
void readNetworks(Reader& reader, Machine& machine);
void readRecovery(Reader& reader, Machine& machine);

}
