#include "app/Session.h"

#include "app/display.h"
#include "app/standard_streams.h"

#include <exception>
#include <new>

namespace app {

bool Session::query(
    std::string const& subject, std::function<bool()> const& ask, std::string const& silentFailure)
{
    m_trace.takeFailure();
    std::string cause;
    // What a library that was loaded at run time throws may be of a type that only its own code
    // knows, and its text and its destructor are gone with that code: all that is needed is copied
    // here, and nothing but std::exception is asked for.
    try {
        if (ask())
            return true;
        dovrel::string const lastError = m_service.getLastError();
        cause = static_cast<char const*>(lastError);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        // The library's own words for it, where it has any, are for people.
        cause = m_trace.takeFailure();
        if (cause.empty())
            cause = error.what();
    }
    cause = printable(cause);
    if (cause.empty())
        cause = m_trace.takeFailure();
    if (cause.empty())
        cause = silentFailure;
    complain("cannot read " + subject + (cause.empty() ? "" : ": " + cause));
    return false;
}

}
