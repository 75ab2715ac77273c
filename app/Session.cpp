#include "app/Session.h"

#include "app/display.h"
#include "app/standard_streams.h"

namespace app {

bool Session::query(std::string const& subject, std::function<bool()> const& ask)
{
    m_trace.takeFailure();
    if (ask())
        return true;
    dovrel::string const lastError = m_service.getLastError();
    std::string cause = printable(static_cast<char const*>(lastError));
    if (cause.empty())
        cause = m_trace.takeFailure();
    complain("cannot read " + subject + (cause.empty() ? "" : ": " + cause));
    return false;
}

}
