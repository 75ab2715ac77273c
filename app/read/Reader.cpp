#include "app/read/Reader.h"

#include <exception>
#include <new>

namespace app {

bool Reader::query(Machine& machine, Problem problem, std::function<bool()> const& query)
{
    m_trace.takeFailure();
    try {
        if (query())
            return true;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        problem.reason = error.what();
    }
    // The message is written for people, the exception for programs.
    std::string const cause = m_trace.takeFailure();
    if (!cause.empty())
        problem.reason = cause;
    machine.problems.push_back(std::move(problem));
    return false;
}

}
