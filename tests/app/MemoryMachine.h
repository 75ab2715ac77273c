#pragma once

#include "tests/app/Program.h"

#include <string>
#include <vector>

namespace app_test {

/** What the program says where the library finds no total or no free memory in the kernel's text.
 */
inline constexpr char const* KERNEL_REPORTS_NO_MEMORY =
    "dovrel-sysinfo: cannot read the memory from /proc/meminfo, dmidecode: "
    "the kernel does not report both total and free\n";

/** A machine whose memory is what the test says: its own /proc/meminfo, and its own dmidecode,
 * which finds nothing at first. */
class MemoryMachine {
public:
    MemoryMachine();

    /** Says what the kernel tells, proc(5). */
    void kernel(std::string const& text);

    /** Lets nobody open /proc/meminfo any more. */
    void hideKernel();

    /** Says what dmidecode(8) prints; it succeeds. No apostrophes. */
    void modules(std::string const& text);

    /** Says what the shell script dmidecode does. */
    void tool(std::string const& script);

    /** @return a run of the program on this machine. */
    Program program(std::vector<std::string> arguments) const;

    Folder const& folder() const { return m_folder; }

private:
    Folder m_folder;
};

}
