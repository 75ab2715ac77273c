#pragma once

#include "tests/app/Program.h"

#include <string>
#include <vector>

namespace app_test {

/**
 * A machine with fake files of the kernel and fake tools: two processors, 2 GiB of memory, the disk
 * "sdzz", the adapter "kit0" and no mounts at first.
 *
 * The addresses of adapters are those of the machine that the tests run on.
 */
class WholeMachine {
public:
    WholeMachine();

    /** Sets the lines of /proc/meminfo, proc(5). */
    void memory(std::string const& lines) const;

    /** Sets the counters of the processors, /proc/stat in proc(5). */
    void counters(std::string const& lines) const;

    /** Mounts the disk at these places. */
    void mounts(std::vector<std::string> const& places) const;

    /** Writes a file below /sys. */
    void kernelFile(std::string const& path, std::string const& text) const;

    /** Sets the shell script of the tool "dmidecode", "ifconfig", "route" or "cat"; it may call
     * sleep(1). */
    void tool(std::string const& name, std::string const& script) const;

    /** Removes the permissions of the file "meminfo", "stat", "mountinfo" or "sys/block". */
    void hide(std::string const& file) const;

    Folder const& folder() const { return m_folder; }

    /** @return a run of the program on this machine. */
    Program program(std::vector<std::string> arguments) const;

private:
    Folder m_folder;
};

}
