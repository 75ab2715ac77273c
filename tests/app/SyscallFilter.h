#pragma once

#include "tests/support/SystemFailure.h"

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>

#include <cstddef>
#include <vector>

namespace app_test {

/** A system call that ends otherwise than usual, seccomp(2). */
struct SyscallRule {
    unsigned number; ///< SYS_fsync
    unsigned action; ///< SECCOMP_RET_ERRNO | EROFS
    unsigned argument = 0; ///< The index of the argument that must have all bits of the mask.
    unsigned mask = 0;
};

/** Sets the rules for the calling process and all that it starts. @throws std::system_error */
inline void filterSyscalls(std::vector<SyscallRule> const& rules)
{
    std::vector<sock_filter> program;
    for (SyscallRule const& rule : rules) {
        // The lower half of an argument comes first on these machines.
        auto const argument =
            static_cast<unsigned>(offsetof(seccomp_data, args) + rule.argument * sizeof(__u64));
        program.insert(program.end(),
            {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, rule.number, 0, 4),
                BPF_STMT(BPF_LD | BPF_W | BPF_ABS, argument),
                BPF_STMT(BPF_ALU | BPF_AND | BPF_K, rule.mask),
                BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, rule.mask, 0, 1),
                BPF_STMT(BPF_RET | BPF_K, rule.action)});
    }
    program.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    sock_fprog const filter = {static_cast<unsigned short>(program.size()), program.data()};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0
        || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        testkit::fail("prctl", "PR_SET_SECCOMP");
}

}
