#include "tests/support/Machine.h"

#include "tests/support/SystemFailure.h"
#include "tests/support/capabilities.h"
#include "tests/support/user_namespace.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

namespace fs = std::filesystem;

namespace testkit {

Machine machine;

namespace {

// The Filesystem Hierarchy Standard requires this folder, and it has no libraries.
constexpr char const* ROOT = "/mnt";

// The folders that `empty` leaves.
constexpr char const* FOLDERS[] = {
    "/bin", "/dev", "/etc", "/proc", "/sbin", "/sys", "/tmp", "/usr/bin", "/usr/sbin"};

int openSource(std::string const& path)
{
    int const source = ::open(path.c_str(), O_PATH | O_CLOEXEC);
    if (source < 0)
        fail("open", path);
    return source;
}

void writeAll(int file, std::string_view text, std::string const& path)
{
    while (!text.empty()) {
        ssize_t const written = ::write(file, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            fail("write", path);
        text.remove_prefix(static_cast<size_t>(written));
    }
}

void writeFile(std::string const& path, std::string_view text, mode_t mode)
{
    fs::create_directories(fs::path(path).parent_path());
    if (::unlink(path.c_str()) != 0 && errno != ENOENT)
        fail("unlink", path);
    int const file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0)
        fail("create", path);
    try {
        writeAll(file, text, path);
        if (::fchmod(file, mode) != 0)
            fail("chmod", path);
    } catch (...) {
        ::close(file);
        throw;
    }
    if (::close(file) != 0)
        fail("close", path);
}

/** @param type "none" for a bind; the kernel would take a null pointer, but valgrind(1) reports it.
 */
void mountOrFail(char const* source, std::string const& target, char const* type,
    unsigned long flags, char const* options)
{
    if (::mount(source, target.c_str(), type, flags, options) != 0)
        fail("mount", target);
}

/** Has no effect on kernels before 5.12, which lack mount_setattr(2). */
void protectFromWriting(std::string const& target)
{
    mount_attr readOnly{};
    readOnly.attr_set = MOUNT_ATTR_RDONLY;
    if (::mount_setattr(AT_FDCWD, target.c_str(), AT_RECURSIVE, &readOnly, sizeof readOnly) != 0
        && errno != ENOSYS)
        fail("mount_setattr", target);
}

}

void Machine::prepare()
{
    m_root = ROOT;
    enterNamespaces(CLONE_NEWUSER | CLONE_NEWNS);
    // Opened before the tmpfs, which may cover some of these paths.
    m_hostRoot = openSource("/");
    m_hostFolder = openSource(".");
    int const build = openSource(DOVREL_BUILD_FOLDER);
    int const recorded = openSource(DOVREL_RECORDED_FOLDER);
    char const* const capturesFolder = std::getenv("DOVREL_CAPTURES");
    int const captures = capturesFolder ? openSource(capturesFolder) : -1;
    char const* const profilesFolder = std::getenv("DOVREL_PROFILES");
    int const profiles = profilesFolder ? openSource(profilesFolder) : -1;

    mountOrFail(nullptr, "/", "none", MS_REC | MS_PRIVATE, nullptr);
    mountOrFail("testkit", m_root, "tmpfs", MS_NOSUID, "mode=0755");

    for (char const* folder : FOLDERS) {
        fs::create_directories(m_root + folder);
        keepFolder(folder);
    }
    bindLibraries();
    bindTools();
    makeShell();
    makeDevices();
    bindReadOnly(build, DOVREL_BUILD_FOLDER);
    bindReadOnly(recorded, "/testkit/recorded");
    if (captures >= 0)
        bindReadOnly(captures, "/testkit/captures");
    if (profiles >= 0)
        bind(profiles, profilesFolder);

    // The library looks up tools in PATH.
    ::setenv("PATH", "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin", 1);
    dropFilePrivilegesOfChildren();
}

/** Closes @p source. */
void Machine::bind(int source, std::string const& target)
{
    std::string const place = m_root + target;
    fs::create_directories(place);
    // MS_REC: in a user namespace, mounts below the source are locked to it.
    mountOrFail(("/proc/self/fd/" + std::to_string(source)).c_str(), place, "none",
        MS_BIND | MS_REC, nullptr);
    ::close(source);
    keep(target);
}

/** Closes @p source. */
void Machine::bindReadOnly(int source, std::string const& target)
{
    bind(source, target);
    protectFromWriting(m_root + target);
}

void Machine::bindLibraries()
{
    for (char const* name : {"/usr/lib", "/usr/lib32", "/usr/lib64", "/usr/libx32", "/lib",
             "/lib32", "/lib64", "/libx32"}) {
        if (fs::is_symlink(name)) {
            // With a merged /usr, /lib is a link to /usr/lib.
            fs::create_symlink(fs::read_symlink(name), m_root + name);
            keep(name);
        } else if (fs::is_directory(name)) {
            bindReadOnly(openSource(name), name);
        }
    }
}

void Machine::bindTools()
{
    bindReadOnly(openSource("/usr/bin"), "/testkit/bin");
    if (!fs::is_symlink("/bin"))
        bindReadOnly(openSource("/bin"), "/testkit/rootbin");
}

void Machine::makeShell()
{
    fs::copy_file(fs::canonical("/bin/sh"), m_root + "/bin/sh");
    keep("/bin/sh");
}

void Machine::makeDevices()
{
    fs::create_directories(m_root + "/dev/pts");
    mountOrFail("devpts", m_root + "/dev/pts", "devpts", MS_NOSUID | MS_NOEXEC,
        "newinstance,ptmxmode=0666");
    fs::create_symlink("pts/ptmx", m_root + "/dev/ptmx");
    writeFile(m_root + "/dev/null", "", 0666);
    mountOrFail("/dev/null", m_root + "/dev/null", "none", MS_BIND, nullptr);
    for (char const* kept : {"/dev/pts", "/dev/ptmx", "/dev/null"})
        keep(kept);
}

void Machine::keep(std::string const& path)
{
    m_kept.insert(path);
    keepFolder(fs::path(path).parent_path());
}

void Machine::keepFolder(std::string const& path)
{
    for (fs::path folder = path; folder != "/"; folder = folder.parent_path())
        m_folders.insert(folder);
}

void Machine::enter()
{
    if (::chroot(m_root.c_str()) != 0)
        fail("chroot", m_root);
    if (::chdir("/") != 0)
        fail("chdir", "/");
}

void Machine::leave()
{
    obeyFilePermissions(false);
    if (::fchdir(m_hostRoot) != 0 || ::chroot(".") != 0)
        fail("chroot", "the real root");
    if (::fchdir(m_hostFolder) != 0)
        fail("chdir", "the former working directory");
}

void Machine::empty()
{
    // Tests remove the permissions of folders.
    obeyFilePermissions(false);
    emptyFolder("/");
    obeyFilePermissions(true);
}

void Machine::emptyFolder(std::string const& path)
{
    for (fs::directory_entry const& entry : fs::directory_iterator(path)) {
        if (m_kept.count(entry.path()) != 0)
            continue;
        if (m_folders.count(entry.path()) != 0)
            emptyFolder(entry.path());
        else
            fs::remove_all(entry.path());
    }
}

void Machine::file(std::string const& path, std::string_view text)
{
    writeFile(path, text, 0644);
}

void Machine::tool(std::string const& path, std::string_view script)
{
    std::string text = "#!/bin/sh\nPATH=/testkit/bin:/testkit/rootbin\nexport PATH\n";
    writeFile(path, text.append(script).append("\n"), 0755);
}

void Machine::link(std::string const& path, std::string const& target)
{
    fs::create_directories(fs::path(path).parent_path());
    fs::create_symlink(target, path);
}

void Machine::folder(std::string const& path)
{
    fs::create_directories(path);
}

void Machine::remove(std::string const& path)
{
    if (fs::remove_all(path) == 0) {
        errno = ENOENT;
        fail("remove", path);
    }
}

}
