// The real program records the real machine.

#include "app/exit_status.h"
#include "tests/app/Program.h"
#include "tests/app/SyscallFilter.h"
#include "tests/support/Channel.h"
#include "tests/support/text.h"
#include "tests/support/user_namespace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <thread>

using app_test::Folder;
using app_test::Outcome;
using app_test::Program;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::MatchesRegex;
using testkit::contentsOf;

namespace {

namespace fs = std::filesystem;

constexpr char const* FORMER = "a former recording\n";

std::vector<std::string> namesIn(fs::path const& folder)
{
    std::vector<std::string> names;
    for (auto const& entry : fs::directory_iterator(folder))
        names.push_back(entry.path().filename());
    return names;
}

/** A folder for the recording, and one for the temporary files. */
struct RecordingFolders {
    Folder output;
    Folder temporary;
    std::string file = output.path() / "machine.tar.gz";

    /** @return the program that records to the file. */
    Program recorder(std::vector<std::string> const& options = {}) const
    {
        Program program({"record", file, "--tool-limit", "50"});
        program.arguments.insert(program.arguments.end(), options.begin(), options.end());
        program.environment["TMPDIR"] = temporary.path();
        return program;
    }
};

/** Runs the checks in a child process whose mounts nobody else sees; they end with it. */
void inPrivateMounts(std::function<void()> const& checks)
{
    EXPECT_EXIT(
        {
            testkit::enterNamespaces(CLONE_NEWUSER | CLONE_NEWNS);
            checks();
            _exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

/** Covers a folder with a filesystem of that size until the object is gone. */
class SmallDisk {
public:
    SmallDisk(fs::path const& folder, char const* size) : m_folder(folder)
    {
        if (mount("none", m_folder.c_str(), "tmpfs", 0, size) != 0)
            testkit::fail("mount", m_folder);
    }
    SmallDisk(SmallDisk const&) = delete;
    SmallDisk& operator=(SmallDisk const&) = delete;
    ~SmallDisk() { umount(m_folder.c_str()); }

private:
    std::string m_folder;
};

/** Nothing is covered: the folder may have the program. */
void makeReadOnly(char const* folder)
{
    struct statvfs status;
    if (statvfs(folder, &status) != 0)
        testkit::fail("statvfs", folder);
    // A mount of another user namespace keeps these.
    unsigned long const kept = status.f_flag & (ST_NOSUID | ST_NODEV | ST_NOEXEC);
    if (mount(folder, folder, nullptr, MS_BIND | MS_REC, nullptr) != 0
        || mount(nullptr, folder, nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY | kept, nullptr) != 0)
        testkit::fail("mount", folder);
}

}

TEST(RecordRun, writesAFileForItsOwnerAloneAndReportsWhatItTook)
{
    RecordingFolders const folders;
    Program recorder = folders.recorder();
    recorder.prepare = [] { umask(0); };

    Outcome const outcome = recorder.run();

    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    auto const lines = testkit::linesOf(outcome.out);
    ASSERT_THAT(lines.size(), testing::AnyOf(1U, 2U));
    EXPECT_THAT(lines[0], testing::StartsWith(folders.file + ": "));
    EXPECT_THAT(lines[0].substr(folders.file.size()),
        MatchesRegex(": [0-9]+ files, [0-9]+ runs? of tools, [0-9]+ answers of calls"));
    if (lines.size() == 2) {
        EXPECT_THAT(lines[1], MatchesRegex("[0-9]+ files? could not be opened: permission denied"));
    }
    struct stat state { };
    ASSERT_EQ(stat(folders.file.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode, S_IFREG | 0600U);
    EXPECT_THAT(namesIn(folders.output.path()), ElementsAre("machine.tar.gz"));
    EXPECT_THAT(namesIn(folders.temporary.path()), IsEmpty());
}

TEST(RecordRun, refusesAFileThatExistsBeforeItReadsAnything)
{
    RecordingFolders const folders;
    folders.output.file("machine.tar.gz", FORMER);
    Program recorder = folders.recorder();
    recorder.environment["TMPDIR"] = "/nonexistent"; // Which it does not look for.

    Outcome const outcome = recorder.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: cannot write " + folders.file + ": it exists; --force replaces it\n");
    EXPECT_EQ(contentsOf(folders.file), FORMER);
}

TEST(RecordRun, replacesAFileByForce)
{
    RecordingFolders const folders;
    folders.output.file("machine.tar.gz", FORMER);

    Outcome const outcome = folders.recorder({"--force"}).run();

    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(contentsOf(folders.file), FORMER);
    EXPECT_THAT(namesIn(folders.output.path()), ElementsAre("machine.tar.gz"));
    EXPECT_THAT(namesIn(folders.temporary.path()), IsEmpty());
}

TEST(RecordRun, reportsAMissingFolder)
{
    RecordingFolders folders;
    folders.file = folders.output.path() / "missing/machine.tar.gz";

    Outcome const outcome = folders.recorder().run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT);
    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: cannot write " + folders.file + ": No such file or directory\n");
    EXPECT_THAT(namesIn(folders.output.path()), IsEmpty());
    EXPECT_THAT(namesIn(folders.temporary.path()), IsEmpty());
}

TEST(RecordRun, reportsAMissingFolderForTemporaryFiles)
{
    RecordingFolders const folders;
    Program recorder = folders.recorder();
    recorder.environment["TMPDIR"] = "/nonexistent";

    Outcome const outcome = recorder.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_INTERNAL);
    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: cannot make a folder in /nonexistent: No such file or directory\n");
    EXPECT_THAT(namesIn(folders.output.path()), IsEmpty());
}

TEST(RecordRun, keepsTemporaryFilesInTmpWhereTMPDIRIsEmpty)
{
    RecordingFolders const folders; // They are removed outside.
    inPrivateMounts([&folders] {
        makeReadOnly("/tmp");
        SmallDisk const writable(folders.output.path(), "");
        Program recorder = folders.recorder();
        recorder.environment["TMPDIR"] = "";

        EXPECT_EQ(recorder.run().err,
            "dovrel-sysinfo: cannot make a folder in /tmp: Read-only file system\n");
    });
}

TEST(RecordRun, namesTheFileForWhichTheDiskHasNoInode)
{
    for (auto const& [inodes, name] :
        {std::pair{"nr_inodes=2", "tools"}, std::pair{"nr_inodes=3", "complete"}})
        inPrivateMounts([inodes = inodes, name = name] {
            RecordingFolders const folders;
            SmallDisk const disk(folders.temporary.path(), inodes);

            Outcome const outcome = folders.recorder().run();

            EXPECT_EQ(outcome.status, app::EXIT_STATUS_INTERNAL);
            EXPECT_THAT(outcome.err,
                MatchesRegex("dovrel-sysinfo: " + folders.temporary.path().string()
                    + "/dovrel-sysinfo-[^/]*/" + name + ": No space left on device\n"));
            EXPECT_THAT(namesIn(folders.temporary.path()), IsEmpty());
        });
}

TEST(RecordRun, leavesNothingOnAFullDisk)
{
    inPrivateMounts([] {
        RecordingFolders const folders;
        SmallDisk const disk(folders.output.path(), "size=4k");

        Outcome const outcome = folders.recorder().run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, EndsWith(": No space left on device\n"));
        EXPECT_THAT(namesIn(folders.output.path()), IsEmpty());
        EXPECT_THAT(namesIn(folders.temporary.path()), IsEmpty());
    });
}

/** A file that was kept in part would replay as another machine. */
TEST(RecordRun, failsWhereTheTemporaryFilesFillTheirDisk)
{
    for (char const* const size : {"size=12k", "size=64k", "size=160k"})
        inPrivateMounts([size] {
            RecordingFolders const folders;
            SmallDisk const disk(folders.temporary.path(), size);

            Outcome const outcome = folders.recorder().run();

            EXPECT_EQ(outcome.status, app::EXIT_STATUS_INTERNAL) << size << outcome.out;
            EXPECT_EQ(outcome.err,
                "dovrel-sysinfo: not all that was read could be kept in "
                    + folders.temporary.path().string() + "; is its filesystem full?\n");
            EXPECT_THAT(namesIn(folders.output.path()), IsEmpty());
            EXPECT_THAT(namesIn(folders.temporary.path()), IsEmpty());
        });
}

/** A query may run out of memory, for example. */
TEST(RecordRun, namesTheQueryThatWasKilled)
{
    RecordingFolders const folders;
    Program recorder = folders.recorder();
    // A query calls setpgid(2) for each process that queries the library; record itself does not.
    recorder.prepare = [] { app_test::filterSyscalls({{SYS_setpgid, SECCOMP_RET_KILL_PROCESS}}); };

    Outcome const outcome = recorder.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_INTERNAL);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "dovrel-sysinfo: the query of the system was killed\n");
    EXPECT_THAT(namesIn(folders.output.path()), IsEmpty());
    EXPECT_THAT(namesIn(folders.temporary.path()), IsEmpty());
}

TEST(RecordRun, keepsTheFileWhereItsReportCannotBeWritten)
{
    RecordingFolders const folders;
    Program recorder = folders.recorder();
    recorder.outputFile = "/dev/full";

    Outcome const outcome = recorder.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT);
    EXPECT_EQ(
        outcome.err, "dovrel-sysinfo: cannot write to standard output: No space left on device\n");
    EXPECT_THAT(namesIn(folders.output.path()), ElementsAre("machine.tar.gz"));
}

TEST(RecordRun, reportsAFileThatIsTooLargeToBeRecordedWhole)
{
    RecordingFolders const folders;
    constexpr size_t SIZE = 1'100'000;
    Folder const machine;
    Program recorder = folders.recorder();
    recorder.replaced["/proc/cpuinfo"] =
        machine.file("cpuinfo", "processor : 0\n" + std::string(SIZE - 14, 'x'));

    Outcome const outcome = recorder.run();

    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out,
        testing::HasSubstr("\nonly the first 1048576 of " + std::to_string(SIZE)
            + " bytes of /proc/cpuinfo are recorded\n"));
}

TEST(RecordRun, leavesNothingWhereASignalEndsIt)
{
    for (int const signal : {SIGTERM, SIGINT, SIGHUP}) {
        RecordingFolders const folders;
        testkit::Descriptor const null(open("/dev/null", O_WRONLY | O_CLOEXEC), "open");
        pid_t const child = folders.recorder().start(null, STDERR_FILENO);
        auto const enough = std::chrono::steady_clock::now() + std::chrono::seconds(50);
        auto const hasBegun = [&folders] {
            auto const names = namesIn(folders.temporary.path());
            return !names.empty() && fs::exists(folders.temporary.path() / names[0] / "root/proc");
        };
        while (!hasBegun() && std::chrono::steady_clock::now() < enough)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));

        kill(child, signal);

        EXPECT_EQ(app_test::waitForExit(child), -signal);
        EXPECT_THAT(namesIn(folders.output.path()), IsEmpty());
        EXPECT_THAT(namesIn(folders.temporary.path()), IsEmpty());
    }
}

TEST(RecordRun, refusesOptionsThatItDoesNotHave)
{
    for (auto const& [arguments, message] :
        std::vector<std::pair<std::vector<std::string>, char const*>>{
            {{"--json", "record", "/nonexistent/a"}, "--json has no use with record"},
            {{"--tool-limit", "3", "record", "/nonexistent/a"},
                "--tool-limit must stand after 'record'"},
            {{"record", "/nonexistent/a", "b"}, "unexpected argument 'b'"},
            {{"record"}, "record needs a FILE"},
            {{"record", "-"}, "record needs the name of a file, not -"},
        }) {
        Outcome const outcome = Program(arguments).run();
        EXPECT_EQ(outcome.status, app::EXIT_STATUS_USAGE) << message;
        EXPECT_THAT(outcome.err, testing::HasSubstr(message));
        EXPECT_EQ(outcome.out, "");
    }
}

TEST(RecordRun, listsInItsHelpTheExitStatusesThatItCanHave)
{
    auto const statusesOf = [](char const* command) {
        std::vector<int> statuses;
        for (std::string const& line : testkit::linesOf(Program({command, "--help"}).run().out))
            if (line.size() > 6 && line.substr(4, 2) == "  " && line[3] != ' ' && line[0] == ' ')
                statuses.push_back(std::atoi(line.c_str()));
        return statuses;
    };
    EXPECT_THAT(statusesOf("record"), ElementsAre(0, 64, 70, 74));
    EXPECT_THAT(statusesOf("replay"), ElementsAre(0, 1, 2, 4, 64, 65, 69, 70, 74));
    EXPECT_THAT(statusesOf("disks"), ElementsAre(0, 1, 2, 3, 4, 64, 65, 69, 70, 74, 130));
}
