#pragma once

#include "tests/support/text.h"

#include <set>
#include <string>
#include <string_view>

namespace testkit {

/**
 * A fake machine: a private root folder for the test program.
 *
 * The library opens absolute paths, such as `/proc/stat` and `/sbin/ifconfig`. `prepare` moves the
 * program into private user and mount namespaces (user_namespaces(7), no privilege needed) and
 * builds a root on a tmpfs, which is the program's root between `enter` and `leave`. There `/proc`,
 * `/sys`, `/etc`, `/dev`, `/bin`, `/sbin`, `/usr/bin`, `/usr/sbin` and `/tmp` are ordinary folders,
 * empty except for:
 *
 * - the run-time libraries at their usual paths, and `/bin/sh`;
 * - `/dev/pts` with `/dev/ptmx` (a private devpts), and `/dev/null`;
 * - the build folder at its absolute path, from which tests load the library;
 * - `/testkit/bin`, the tools of the real machine, for the scripts of `tool`;
 * - `/testkit/recorded`, the folder `tests/recorded/`, and `/testkit/captures`, the folder that the
 *   environment variable `DOVREL_CAPTURES` names, where it is set.
 *
 * Everything from the real machine is mounted read-only. Only the folder that the environment
 * variable `DOVREL_PROFILES` names, where it is set, can be written: `tools/coverage` counts there.
 * The program is user 0 but obeys file permissions: it cannot open a file of mode 0.
 *
 * Errors: an operation that fails throws `std::system_error`, which names the path. Threads: call
 * `prepare` before any thread starts; the other operations do not lock.
 */
class Machine {
public:
    /** Enters the namespaces and builds the root. Call it once. */
    void prepare();

    /** Changes the root to the machine's. */
    void enter();

    /** Changes back to the real root and the former working directory. */
    void leave();

    /** Removes all files that tests made, and makes the calling thread obey file permissions. Runs
     * before each test. */
    void empty();

    /** Writes @p text to a file of mode 0644. Replaces the file and creates its folders. */
    void file(std::string const& path, std::string_view text);

    /**
     * Writes an executable shell script, mode 0755.
     *
     * Its PATH is `/testkit/bin`, so it cannot run programs that the real machine links through
     * `/etc/alternatives` (awk).
     */
    void tool(std::string const& path, std::string_view script);

    /** Makes @p path a symbolic link to @p target, which need not exist. */
    void link(std::string const& path, std::string const& target);

    void folder(std::string const& path);

    /** Removes a file, a link, or a folder with all its contents. */
    void remove(std::string const& path);

private:
    void bind(int source, std::string const& target);
    void bindReadOnly(int source, std::string const& target);
    void bindLibraries();
    void bindTools();
    void makeShell();
    void makeDevices();
    void keep(std::string const& path);
    void keepFolder(std::string const& path);
    void emptyFolder(std::string const& path);

    std::string m_root;
    int m_hostRoot = -1;
    int m_hostFolder = -1;
    std::set<std::string> m_kept; // Paths that `empty` skips.
    std::set<std::string> m_folders; // Folders that `empty` empties.
};

extern Machine machine;

}
