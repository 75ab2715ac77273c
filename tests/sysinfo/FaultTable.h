#pragma once

#include <set>
#include <string>
#include <vector>

namespace testkit {

/** A function of the C library, and what its manual page says that it can do to the library. */
struct FaultyCall {
    char const* name;

    /** An error for each branch of the library. */
    std::vector<int> branches;

    /** The page's other errors. EFAULT and what needs a wrong argument are left out. */
    std::vector<int> others;

    bool isInterruptible = false; ///< EINTR.
    bool readsShort = false;
};

extern std::vector<FaultyCall> const FAULTY_CALLS;

/**
 * @return the results that a fault of the call may have in that query: "right", "false", the name
 * of an exception, or what the result lacks: the name of a field, "fewer" records, or "more", which
 * the library can then not leave out. Empty if the query does not make the call.
 */
std::set<std::string> statedResults(std::string const& query, std::string const& call);

}
