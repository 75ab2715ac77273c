#include "app/recording/replay_root.h"

#include "app/recording/Answers.h"
#include "app/recording/answer_line.h"
#include "app/recording/archive/ArchiveError.h"
#include "app/recording/recorded_log.h"
#include "app/recording/stored_file.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <linux/capability.h>
#include <sched.h>
#include <set>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace app {

namespace {

/** The folder of the answers in the private root. */
constexpr char const* ANSWERS_FOLDER = "/.dovrel-recording";

[[noreturn]] void fail(std::string const& what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/** @return the number in a file of the kernel's settings; -1 where there is none. */
long setting(char const* path)
{
    try {
        return std::stol(storedText(path));
    } catch (std::exception const&) {
        return -1;
    }
}

std::string whyForbidden(int error)
{
    if (setting("/proc/sys/user/max_user_namespaces") == 0)
        return "user.max_user_namespaces is 0";
    if (setting("/proc/sys/kernel/unprivileged_userns_clone") == 0)
        return "kernel.unprivileged_userns_clone is 0";
    if (setting("/proc/sys/kernel/apparmor_restrict_unprivileged_userns") == 1)
        return "kernel.apparmor_restrict_unprivileged_userns is 1";
    return std::string(std::strerror(error))
        + "; a container's filter of system calls may forbid it";
}

[[noreturn]] void failForbidden()
{
    int const error = errno;
    throw NamespaceError(
        "replay needs a user namespace, which this machine forbids: " + whyForbidden(error));
}

/** Writes a file of /proc. */
bool writeSetting(char const* path, std::string const& text)
{
    int const file = open(path, O_WRONLY | O_CLOEXEC);
    bool const isWritten =
        file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    int const error = errno;
    if (file >= 0)
        close(file);
    errno = error;
    return isWritten;
}

void enterNamespaces(unsigned user)
{
    std::string const outerUser = std::to_string(geteuid());
    std::string const outerGroup = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0)
        failForbidden();
    (void)writeSetting("/proc/self/setgroups", "deny"); // Older kernels do not have it.
    if (!writeSetting("/proc/self/uid_map", std::to_string(user) + " " + outerUser + " 1")
        || !writeSetting("/proc/self/gid_map", std::to_string(user) + " " + outerGroup + " 1"))
        failForbidden();
}

/** Makes what every process needs, and no recording has: /dev/null and pseudo-terminals, pts(4). */
void makeDevices(std::string const& root)
{
    std::filesystem::create_directories(root + "/dev/pts");
    store(root + "/dev/null", "");
    std::filesystem::create_symlink("pts/ptmx", root + "/dev/ptmx");
    if (mount("/dev/null", (root + "/dev/null").c_str(), nullptr, MS_BIND, nullptr) != 0
        || mount("devpts", (root + "/dev/pts").c_str(), "devpts", MS_NOSUID | MS_NOEXEC,
               "newinstance,ptmxmode=0666,mode=0600")
            != 0)
        failForbidden();
}

/** Mounts a filesystem in memory over a folder of this machine, which no other process sees. */
void enterPrivateRoot()
{
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
        failForbidden();
    for (char const* const folder : {"/tmp", "/run", "/proc"}) {
        if (mount("recording", folder, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC,
                "size=160m,mode=755,nr_inodes=65536")
            != 0)
            continue;
        makeDevices(folder);
        if (chroot(folder) != 0 || chdir("/") != 0)
            failForbidden();
        return;
    }
    failForbidden();
}

void dropCapabilities()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || syscall(SYS_capset, &header, none) != 0)
        failForbidden();
}

/** @return whether the private root has a file of its own there. */
bool isOfRoot(std::string const& path)
{
    for (char const* const own : {"/dev/null", "/dev/ptmx", "/dev/pts", ANSWERS_FOLDER})
        if (path == own || path.rfind(own + std::string("/"), 0) == 0)
            return true;
    return false;
}

void makeFile(RecordedFile const& file)
{
    std::filesystem::path const path = file.path;
    if (file.kind == RecordedFile::ABSENT || isOfRoot(file.path))
        return;
    std::filesystem::create_directories(path.parent_path());
    if (file.kind == RecordedFile::FOLDER)
        std::filesystem::create_directories(path);
    else if (file.kind == RecordedFile::LINK)
        std::filesystem::create_symlink(file.content, path);
    else if (file.kind == RecordedFile::OTHER) {
        if (mkfifo(file.path.c_str(), 0600) != 0)
            fail(file.path);
    } else {
        store(file.path, file.content);
        if (chmod(file.path.c_str(), file.mode | S_IRUSR) != 0)
            fail(file.path);
    }
}

/** Makes what the second reading of a path finds. */
void makeLater(RecordedFile const& file)
{
    std::filesystem::path const place = std::string(ANSWERS_FOLDER) + "/later" + file.path;
    std::filesystem::create_directories(place.parent_path());
    if (file.kind == RecordedFile::ABSENT) // A link to nothing hides the first one.
        std::filesystem::create_symlink(std::string(ANSWERS_FOLDER) + "/nothing", place);
    else if (file.kind == RecordedFile::LINK) // From the folder in which it was.
        std::filesystem::create_symlink(
            std::filesystem::path(file.path).parent_path() / file.content, place);
    else if (file.kind == RecordedFile::REGULAR)
        store(place, file.content);
}

/** @throws ArchiveError where a line of the answers is wrong, or an address has no adapter */
Answers checkedAnswers(Recording const& recording)
{
    Answers answers;
    for (std::string const& line : recording.answers)
        try {
            addAnswer(line, answers);
        } catch (std::runtime_error const& error) {
            refuse("the answer " + line, error.what());
        }
    std::set<std::string> adapters;
    for (auto const& [name, adapter] : answers.adapters)
        adapters.insert(name);
    for (Answers::Address const& address : answers.addresses)
        if (adapters.count(address.name.substr(0, address.name.find(':'))) == 0)
            refuse("the address " + address.address, "it has no adapter " + asWord(address.name));
    return answers;
}

/** Makes times those of the recorded machine. The C library opens its file without a limit of time,
 * so anything but a regular file could block the replay.
 * @param rule tzset(3); empty where /etc/localtime has the zone */
void useRecordedTimeZone(std::string const& rule)
{
    unsetenv("TZDIR"); // Where the C library looks for a file of the rule's name first.
    struct stat zone { };
    std::string const ofRule = "/usr/share/zoneinfo/" + rule;
    if (!rule.empty() && stat(ofRule.c_str(), &zone) != 0)
        setenv("TZ", rule.c_str(), 1);
    else if (stat("/etc/localtime", &zone) == 0 && S_ISREG(zone.st_mode))
        unsetenv("TZ");
    else
        setenv("TZ", "UTC0", 1);
    tzset();
}

using AnswerFrom = void (*)(char const*);

AnswerFrom answerFunction()
{
    return reinterpret_cast<AnswerFrom>(dlsym(RTLD_DEFAULT, "dovrel_answer_from"));
}

}

bool isPreloaded()
{
    return answerFunction() != nullptr;
}

void enterRecording(Recording const& recording)
{
    Answers const answers = checkedAnswers(recording);
    umask(022);
    enterNamespaces(recording.user);
    enterPrivateRoot();
    try {
        for (RecordedFile const& file : recording.files)
            makeFile(file);
        for (RecordedFile const& file : recording.later)
            makeLater(file);
        std::filesystem::create_directories(std::string(ANSWERS_FOLDER) + "/tools");
        writeAnswers(recording, ANSWERS_FOLDER);
    } catch (std::filesystem::filesystem_error const& error) {
        refuse(error.path1(), error.code().message());
    } catch (std::system_error const& error) {
        refuse("the recorded files", error.what());
    }
    useRecordedTimeZone(answers.timeZone);
    dropCapabilities();
    answerFunction()(ANSWERS_FOLDER);
}

}
