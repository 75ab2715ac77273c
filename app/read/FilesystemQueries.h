#pragma once

#include "app/read/TimedChild.h"

#include <chrono>
#include <optional>
#include <string>
#include <sys/statvfs.h>
#include <vector>

namespace app {

/**
 * Calls statvfs(3) for many filesystems at the same time, each of which may never respond.
 *
 * Up to 64 child processes take one path after the other, in the order of the paths. One that a
 * filesystem holds up is replaced, so that a filesystem costs its own status and no other. Where 64
 * wait at once, each has a tenth of the limit.
 */
class FilesystemQueries {
public:
    struct Result {
        struct statvfs status;
        std::string problem; ///< Why there is no status; empty where there is one.
    };

    /**
     * Starts the queries.
     *
     * @param limit the longest time for all of them.
     */
    FilesystemQueries(
        std::vector<std::string> const& paths, std::chrono::steady_clock::duration limit);
    FilesystemQueries(FilesystemQueries const&) = delete;
    FilesystemQueries& operator=(FilesystemQueries const&) = delete;
    ~FilesystemQueries();

    /** @return the results in the order of the paths, when all are there or the limit has passed.
     * Call once. */
    std::vector<Result> finish();

private:
    struct Query;
    class Supervisor;

    std::chrono::steady_clock::time_point const m_deadline;
    size_t const m_count;
    Query* m_queries = nullptr; // Shared with the children; null where there is no memory.
    int m_error = 0; // The errno of memory that could not be had.
    std::optional<TimedChild> m_supervisor;
};

}
