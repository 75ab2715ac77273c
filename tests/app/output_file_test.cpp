#include "app/exit_status.h"
#include "tests/app/Program.h"
#include "tests/app/SyscallFilter.h"
#include "tests/app/WatchedProgram.h"
#include "tests/support/Channel.h"
#include "tests/support/capabilities.h"
#include "tests/support/user_namespace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>

using app_test::filterSyscalls;
using app_test::Folder;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::SyscallRule;
using app_test::WatchedProgram;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testkit::contentsOf;

namespace {

constexpr char const* FORMER = "the former content\n";

// As on a filesystem without files that have no name.
constexpr SyscallRule NO_UNNAMED_FILES = {
    SYS_openat, SECCOMP_RET_ERRNO | EOPNOTSUPP, 2, unsigned{O_TMPFILE}};

/** Writes a short table to a file. */
Program writerOf(std::string const& file)
{
    return Program({"cpus", "--no-usage", "-o", "CPU", "--output", file});
}

Program writerWith(std::string const& file, std::vector<SyscallRule> const& rules)
{
    Program program = writerOf(file);
    program.prepare = [rules] { filterSyscalls(rules); };
    return program;
}

std::vector<std::string> namesIn(std::filesystem::path const& folder)
{
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

unsigned modeOf(std::string const& file)
{
    struct stat state { };
    EXPECT_EQ(stat(file.c_str(), &state), 0) << file;
    return state.st_mode & 07777U;
}

/** A folder with the file "facts" in it. */
struct FolderWithFile : Folder {
    FolderWithFile() : facts(file("facts", FORMER)) { }

    void expectUnchanged() const
    {
        EXPECT_THAT(namesIn(path()), ElementsAre("facts"));
        EXPECT_EQ(contentsOf(facts), FORMER);
    }

    void expectNew() const
    {
        EXPECT_THAT(namesIn(path()), ElementsAre("facts"));
        EXPECT_THAT(contentsOf(facts), StartsWith("CPU\n"));
    }

    std::string facts;
};

void expectOutputError(Outcome const& outcome, std::string const& reason)
{
    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, StartsWith("dovrel-sysinfo: cannot write "));
    EXPECT_THAT(outcome.err, EndsWith(": " + reason + "\n"));
}

/** Runs the program, and sends it a signal while it writes the file.
 * @return its end as `Outcome::status`. */
int endWithSignalWhileWriting(Program program, std::vector<SyscallRule> rules, int signal,
    std::vector<std::string>& meanwhile)
{
    rules.push_back({SYS_fsync, SECCOMP_RET_TRACE});
    program.prepare = [rules] {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
            testkit::fail("ptrace", "PTRACE_TRACEME");
        filterSyscalls(rules);
    };
    testkit::Descriptor const null(open("/dev/null", O_WRONLY | O_CLOEXEC), "open");
    pid_t const child = program.start(null, STDERR_FILENO);
    auto const folder = std::filesystem::path(program.arguments.back()).parent_path();
    int status = 0;
    bool first = true;
    while (waitpid(child, &status, 0) == child && WIFSTOPPED(status)) {
        int passedOn = 0;
        if (status >> 8 == (SIGTRAP | PTRACE_EVENT_SECCOMP << 8)) {
            meanwhile = namesIn(folder);
            kill(child, signal);
        } else if (first)
            // The stop at its execve(2).
            ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESECCOMP | PTRACE_O_EXITKILL);
        else
            passedOn = WSTOPSIG(status);
        first = false;
        ptrace(PTRACE_CONT, child, nullptr, passedOn);
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}

TEST(OutputFile, getsWhatAPipeGets)
{
    Folder const folder;
    std::string const file = folder.path() / "facts";
    for (std::vector<std::string> arguments :
        {std::vector<std::string>{"cpus", "--no-usage", "-o", "CPU"}, {"disks", "--list-columns"},
            {"--describe"}}) {
        std::string const piped = Program(arguments).run().out;
        arguments.insert(arguments.end(), {"--output", file});
        Outcome const outcome = Program(arguments).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(contentsOf(file), piped);
        EXPECT_THAT(namesIn(folder.path()), ElementsAre("facts"));
    }
}

TEST(OutputFile, getsNeitherHelpNorVersion)
{
    FolderWithFile const folder;
    for (char const* const option : {"--help", "--version"})
        for (std::vector<std::string> const& arguments :
            {std::vector<std::string>{"--output", folder.facts, "cpus", option},
                {"cpus", option, "--output", folder.facts}}) {
            Outcome const outcome = Program(arguments).run();

            EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
            EXPECT_NE(outcome.out, "");
        }
    folder.expectUnchanged();
}

TEST(OutputFile, getsNoneOfATerminalsForm)
{
    Folder const folder;
    std::string const file = folder.path() / "facts";
    Program program({"mounts", "--output", file});
    program.environment["TERM"] = "xterm";
    constexpr unsigned short NARROW = 20;
    WatchedProgram run(program, NARROW);

    EXPECT_EQ(run.waitForEnd(), app::EXIT_STATUS_OK);
    EXPECT_EQ(run.output(), "");
    EXPECT_EQ(linesOf(contentsOf(file)).front(), linesOf(Program({"mounts"}).run().out).front());
}

TEST(OutputFile, mayBeNamedBeforeTheCommandAndInTheWorkingFolder)
{
    Folder const folder;
    Program program({"--output", "facts", "cpus", "--no-usage"});
    program.folder = folder.path();

    EXPECT_EQ(program.run().status, app::EXIT_STATUS_OK);
    EXPECT_THAT(contentsOf(folder.path() / "facts"), StartsWith("CPU"));
}

TEST(OutputFile, namedDashIsStandardOutput)
{
    EXPECT_THAT(writerOf("-").run().out, StartsWith("CPU\n"));
}

TEST(OutputFile, canBeReadByEverybodyWhateverTheUmaskIs)
{
    Folder const folder;
    Program program = writerOf(folder.path() / "facts");
    program.prepare = [] { umask(077); };

    EXPECT_EQ(program.run().status, app::EXIT_STATUS_OK);
    EXPECT_EQ(modeOf(folder.path() / "facts"), 0644U);
}

TEST(OutputFile, staysAsPrivateAsItWas)
{
    FolderWithFile const folder;
    for (unsigned const before : {0600U, 0640U, 0666U}) {
        EXPECT_EQ(chmod(folder.facts.c_str(), before), 0);
        EXPECT_EQ(writerOf(folder.facts).run().status, app::EXIT_STATUS_OK);

        EXPECT_EQ(modeOf(folder.facts), before & 0644U);
    }
    folder.expectNew();
}

TEST(OutputFile, thatIsASymbolicLinkIsRefused)
{
    FolderWithFile const folder;
    Folder const other;
    std::string const link = other.path() / "link";
    std::filesystem::create_symlink(folder.facts, link);

    expectOutputError(writerOf(link).run(), "it is a symbolic link");

    folder.expectUnchanged();
    EXPECT_TRUE(std::filesystem::is_symlink(link));
    EXPECT_THAT(namesIn(other.path()), ElementsAre("link"));
}

TEST(OutputFile, thatIsNoRegularFileIsRefused)
{
    Folder const folder;
    std::string const fifo = folder.path() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);

    expectOutputError(writerOf(fifo).run(), "it is a FIFO");
    expectOutputError(writerOf(folder.path()).run(), "it is a folder");
    expectOutputError(writerOf(folder.path() / "").run(), "it is a folder");
    expectOutputError(writerOf(folder.path() / "..").run(), "it is a folder");
    expectOutputError(writerOf(folder.path() / "new/").run(), "No such file or directory");
    // Not /dev/null: a program that is wrong would replace it, as root.
    std::string const socketName = folder.path() / "socket";
    testkit::Descriptor const socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket");
    sockaddr_un address = {AF_UNIX, {}};
    socketName.copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(bind(socket, reinterpret_cast<sockaddr const*>(&address), sizeof(address)), 0);
    expectOutputError(writerOf(socketName).run(), "it is a socket");
    EXPECT_THAT(namesIn(folder.path()), ElementsAre("fifo", "socket"));
}

TEST(OutputFile, inAMissingFolderIsRefusedBeforeAnythingIsRead)
{
    Program program = writerOf("/nonexistent/facts");
    // A reading would leave a trace.
    program.arguments.insert(program.arguments.end(), {"--trace", "5"});

    Outcome const outcome = program.run();

    expectOutputError(outcome, "No such file or directory");
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("trace ")));
}

TEST(OutputFile, inAFolderThatCannotBeWrittenIsRefusedBeforeAnythingIsRead)
{
    FolderWithFile const folder;
    ASSERT_EQ(chmod(folder.path().c_str(), 0555), 0);
    Program program = writerOf(folder.facts);
    program.arguments.insert(program.arguments.end(), {"--trace", "5"});
    program.prepare = [] {
        testkit::enterNamespaces(CLONE_NEWUSER);
        testkit::dropFilePrivilegesOfChildren();
    };

    Outcome const outcome = program.run();

    expectOutputError(outcome, "Permission denied");
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("trace ")));
    EXPECT_EQ(chmod(folder.path().c_str(), 0755), 0);
    folder.expectUnchanged();
}

TEST(OutputFile, isWrittenWhereFilesWithoutANameAreNot)
{
    for (SyscallRule const& rule :
        {NO_UNNAMED_FILES, SyscallRule{SYS_linkat, SECCOMP_RET_ERRNO | ENOENT}}) {
        FolderWithFile const folder;

        EXPECT_EQ(writerWith(folder.facts, {rule}).run().status, app::EXIT_STATUS_OK);

        folder.expectNew();
    }
}

TEST(OutputFile, isUnchangedWhereAWriteFails)
{
    for (unsigned const call : {SYS_fchmod, SYS_fsync, SYS_renameat})
        for (std::vector<SyscallRule> rules : {std::vector<SyscallRule>{}, {NO_UNNAMED_FILES}}) {
            FolderWithFile const folder;
            rules.push_back({call, SECCOMP_RET_ERRNO | EIO});

            expectOutputError(writerWith(folder.facts, rules).run(), "Input/output error");

            folder.expectUnchanged();
        }
}

/** Kernels before 3.17 have no such call, and filters of containers may forbid it. */
TEST(OutputFile, isUnchangedWhereThereIsNoRandomName)
{
    FolderWithFile const folder;

    expectOutputError(writerWith(folder.facts, {{SYS_getrandom, SECCOMP_RET_ERRNO | ENOSYS}}).run(),
        "Function not implemented");

    folder.expectUnchanged();
}

TEST(OutputFile, isUnchangedWhereItsSizeIsLimited)
{
    FolderWithFile const folder;
    Program program = writerOf(folder.facts);
    program.prepare = [] {
        rlimit const none = {0, 0};
        setrlimit(RLIMIT_FSIZE, &none);
        filterSyscalls({NO_UNNAMED_FILES});
    };

    expectOutputError(program.run(), "File too large");

    folder.expectUnchanged();
}

TEST(OutputFile, isUnchangedOnAFullDisk)
{
    // A tmpfs ends with the namespace, and that with the process.
    auto const run = [] {
        FolderWithFile const folder;
        testkit::enterNamespaces(CLONE_NEWUSER | CLONE_NEWNS);
        if (mount("none", folder.path().c_str(), "tmpfs", 0, "size=8k") != 0)
            testkit::fail("mount", "tmpfs");
        folder.file("facts", FORMER);
        Outcome const outcome = Program({"library", "--json", "--output", folder.facts}).run();
        expectOutputError(outcome, "No space left on device");
        folder.expectUnchanged();
        umount(folder.path().c_str());
    };
    EXPECT_EXIT(
        {
            run();
            _exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(OutputFile, isUnchangedWhereTheProgramIsKilledWhileItWrites)
{
    for (unsigned const call : {SYS_fchmod, SYS_fsync, SYS_linkat}) {
        FolderWithFile const folder;

        EXPECT_EQ(
            writerWith(folder.facts, {{call, SECCOMP_RET_KILL_PROCESS}}).run().status, -SIGSYS);

        folder.expectUnchanged();
    }
}

TEST(OutputFile, isCompleteBeforeASignalEndsTheProgram)
{
    for (int const signal : {SIGTERM, SIGINT, SIGHUP}) {
        FolderWithFile const folder;
        std::vector<std::string> meanwhile;

        EXPECT_EQ(
            endWithSignalWhileWriting(writerOf(folder.facts), {}, signal, meanwhile), -signal);

        EXPECT_THAT(meanwhile, ElementsAre("facts"));
        folder.expectNew();
    }
}

TEST(OutputFile, leavesNoNamedTemporaryFileWhereASignalEndsTheProgram)
{
    for (int const signal : {SIGTERM, SIGINT, SIGHUP}) {
        FolderWithFile const folder;
        std::vector<std::string> meanwhile;

        EXPECT_EQ(endWithSignalWhileWriting(
                      writerOf(folder.facts), {NO_UNNAMED_FILES}, signal, meanwhile),
            -signal);

        EXPECT_THAT(meanwhile, ElementsAre(StartsWith(".dovrel-sysinfo-"), "facts"));
        folder.expectNew();
    }
}
