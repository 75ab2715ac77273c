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

    /** The page's other errors. EFAULT and what needs a wrong argument or another kind of file are
     * left out. */
    std::vector<int> others;

    bool isInterruptible = false; ///< EINTR.
    bool isShort = false; ///< It may transfer less than it is asked to.
};

extern std::vector<FaultyCall> const FAULTY_CALLS;

/**
 * @return the results that a fault of the call may have in that query, in the words of `wordsFor`.
 * Empty if the query does not make the call.
 *
 * For a single short transfer the call is "short read", for example, and for one byte at a time
 * "short reads"; without a row they are "right".
 */
std::set<std::string> statedResults(std::string const& query, std::string const& call);

}
