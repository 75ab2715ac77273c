#pragma once

#include "tests/app/MemoryMachine.h"

#include <string>
#include <vector>

namespace app_test {

/**
 * A machine of which all that the program tells is what the test says: two processors, 2 GiB of
 * memory in modules, one disk, one adapter and no mounts at first.
 *
 * Its disks have no device files, unless the test gives it some.
 */
class WholeMachine : public MemoryMachine {
public:
    WholeMachine();

    /** Sets the kernel's counters of the processors, /proc/stat in proc(5). */
    void counters(std::string const& lines);

    /** Sets the kernel's counters as soon as dmidecode runs: while the loads are measured, where
     * the memory is read too. */
    void countersDuringMeasurement(std::string const& lines);

    /** Says what the kernel tells of disks and partitions: lines "MAJOR MINOR BLOCKS NAME",
     * /proc/partitions in proc(5). */
    void partitions(std::string const& lines);

    /** Says what the kernel tells of mounts: lines "DEVICE POINT TYPE ...". */
    void mounts(std::string const& lines);

    /** Says what the kernel tells below /sys. */
    void kernelFile(std::string const& path, std::string const& text);

    /** Puts an empty file in place of a device, and nothing in place of all others. */
    void device(std::string const& name, std::string const& persistentName);

    /** Says what `ifconfig -a`, `route -n` and the file of the name servers tell. */
    void adapters(std::string const& text);
    void routes(std::string const& text);
    void nameServers(std::string const& text);

    /** Sets the shell script of the tool "ifconfig", "route" or "cat"; it may call sleep(1). */
    void script(std::string const& name, std::string const& text);

    void removeTool(std::string const& name);

    /** Lets nobody open one of the files "partitions", "mounts" and "stat" any more. */
    void hide(std::string const& file);

    /** @return a run of the program on this machine. */
    Program program(std::vector<std::string> arguments) const;

private:
    /** Writes a shell script that prints a text. */
    void printingTool(std::string const& name, std::string const& text);

    bool m_hasDevices = false;
};

}
