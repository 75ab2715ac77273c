#pragma once

#include <cstdlib>

namespace testkit {

/** Sets a PATH with the folders of system tools, which an ordinary user's PATH lacks. */
inline void setSystemPath()
{
    ::setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

}
