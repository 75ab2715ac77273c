#pragma once

#include <set>
#include <string>
#include <string_view>

namespace testkit {

/**
 * A machine of one's own: the test program's private root folder, which says what the machine is.
 *
 * The library opens `/proc/stat` and runs `/sbin/ifconfig` as written. `prepare` gives the program
 * a user and a mount namespace of its own (user_namespaces(7), no privilege needed) and builds a
 * root on a tmpfs; between `enter` and `leave` the program lives in it. There `/proc`, `/sys`,
 * `/etc`, `/dev`, `/bin`, `/sbin`, `/usr/bin`, `/usr/sbin` and `/tmp` are ordinary empty folders
 * but for what follows:
 *
 * - the run-time libraries under their own names, and `/bin/sh`;
 * - `/dev/pts` with `/dev/ptmx` (a private devpts), and `/dev/null`;
 * - the build folder under its own absolute path, so that the library can be loaded by it;
 * - `/testkit/bin`, the tools of the real machine, for the scripts of `tool`;
 * - `/testkit/recorded`, the folder `tests/recorded/`, and `/testkit/captures`, the folder that the
 *   environment variable `DOVREL_CAPTURES` names, where it is set.
 *
 * All that comes from the real machine is bound read-only. The program is user 0 in there but obeys
 * file permissions, so a file of mode 0 cannot be opened.
 *
 * Errors: every operation that fails throws `std::system_error` that names the path. Threads: one
 * file at a time per path is the tests' own business; `prepare` wants a program without threads.
 */
class Machine {
public:
    /** Enters the namespaces and builds the root. Call once, before any thread is started. */
    void prepare();

    /** Changes root into the machine. */
    void enter();

    /** Goes back to the real root and the former working directory. */
    void leave();

    /** Removes everything but what the kit needs, and obeys file permissions from then on. Runs
     * before each test. */
    void empty();

    /** Writes a file of mode 0644 with exactly @p text, in place of any former one; makes its
     * folders. */
    void file(std::string const& path, std::string_view text);

    /**
     * Writes an executable shell script, mode 0755.
     *
     * It runs with a PATH of `/testkit/bin` only. Programs that the real machine keeps behind
     * `/etc/alternatives` (awk) are not to be had under that name.
     */
    void tool(std::string const& path, std::string_view script);

    /** Makes @p path a symbolic link to @p target, which need not exist. */
    void link(std::string const& path, std::string const& target);

    void folder(std::string const& path);

    /** Removes a file, a link, or a folder with all its contents. */
    void remove(std::string const& path);

private:
    void enterNamespaces();
    void bind(int source, std::string const& target);
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
    std::set<std::string> m_kept; // Paths inside the machine that are left alone with all below.
    std::set<std::string> m_folders; // Folders that stay but are emptied.
};

/** The one machine of the test program. */
extern Machine machine;

/** @return the contents of a file of the machine. @throws std::system_error */
std::string contentsOf(std::string const& path);

}
