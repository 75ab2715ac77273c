#include "tests/support/capabilities.h"

#include "tests/support/SystemFailure.h"

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace testkit {

namespace {

constexpr unsigned FILE_PRIVILEGES = 1U << CAP_DAC_OVERRIDE | 1U << CAP_DAC_READ_SEARCH;

}

// The C library has no wrappers for these two calls.
void obeyFilePermissions(bool obey)
{
    __user_cap_header_struct header{};
    header.version = _LINUX_CAPABILITY_VERSION_3;
    __user_cap_data_struct data[_LINUX_CAPABILITY_U32S_3]{};
    if (::syscall(SYS_capget, &header, data) != 0)
        fail("capget", "of this thread");
    if (obey)
        data[0].effective &= ~FILE_PRIVILEGES;
    else
        data[0].effective |= FILE_PRIVILEGES;
    if (::syscall(SYS_capset, &header, data) != 0)
        fail("capset", "of this thread");
}

void dropFilePrivilegesOfChildren()
{
    for (int capability : {CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH})
        if (::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0)
            fail("prctl", "PR_CAPBSET_DROP");
}

}
