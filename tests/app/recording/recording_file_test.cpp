#include "app/OutputFile.h"
#include "app/recording/archive/archive.h"
#include "tests/app/Program.h"
#include "tests/app/SyscallFilter.h"
#include "tests/app/recording/OddRecording.h"
#include "tests/support/text.h"
#include "tests/support/user_namespace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>

using app_test::filterSyscalls;
using app_test::Folder;
using app_test::oddRecording;
using app_test::SyscallRule;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testkit::contentsOf;

namespace {

constexpr char const* FORMER_CONTENT = "the former content\n";

constexpr SyscallRule NO_FILES_WITHOUT_NAME = {
    SYS_openat, SECCOMP_RET_ERRNO | EOPNOTSUPP, 2, unsigned{O_TMPFILE}};

/** As record writes it. */
void writeRecording(app::Recording const& recording, std::string const& path, bool force)
{
    constexpr unsigned OWNER_ONLY = 0600;
    app::OutputFile(path, OWNER_ONLY, force ? app::OutputFile::REPLACED : app::OutputFile::KEPT)
        .write(app::archiveOf(recording));
}

std::vector<std::string> filesIn(std::filesystem::path const& folder)
{
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename());
    return names;
}

unsigned permissionsOf(std::string const& file)
{
    struct stat state { };
    EXPECT_EQ(stat(file.c_str(), &state), 0) << file;
    return state.st_mode & 07777U;
}

/** @return the message of the error; "written" where there was none. */
std::string messageOfWriting(std::string const& file, bool force)
{
    try {
        writeRecording(oddRecording(), file, force);
        return "written";
    } catch (app::OutputFileError const& error) {
        return error.what();
    }
}

/** Writes in a child process with these rules. @return 0, 1 for an error, minus a signal. */
int statusOfWriting(std::string const& file, bool force, std::vector<SyscallRule> const& rules)
{
    pid_t const child = fork();
    if (child == 0) {
        filterSyscalls(rules);
        _exit(messageOfWriting(file, force) == "written" ? 0 : 1);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

}

TEST(RecordingFile, isForItsOwnerAlone)
{
    Folder const folder;
    std::string const file = folder.path() / "a.tar.gz";
    mode_t const former = umask(0);
    writeRecording(oddRecording(), file, false);
    umask(former);

    EXPECT_EQ(permissionsOf(file), 0600U);
    EXPECT_EQ(contentsOf(file), app::archiveOf(oddRecording()));
    EXPECT_THAT(filesIn(folder.path()), ElementsAre("a.tar.gz"));
}

TEST(RecordingFile, isOnlyReplacedByForce)
{
    Folder const folder;
    std::string const file = folder.file("a.tar.gz", FORMER_CONTENT);
    ASSERT_EQ(chmod(file.c_str(), 0644), 0);

    EXPECT_EQ(
        messageOfWriting(file, false), "cannot write " + file + ": it exists; --force replaces it");
    EXPECT_EQ(contentsOf(file), FORMER_CONTENT);
    EXPECT_EQ(messageOfWriting(file, true), "written");
    EXPECT_EQ(contentsOf(file), app::archiveOf(oddRecording()));
    EXPECT_EQ(permissionsOf(file), 0600U);
    EXPECT_THAT(filesIn(folder.path()), ElementsAre("a.tar.gz"));
}

TEST(RecordingFile, thatAppearsInTheMeantimeIsKept)
{
    for (std::vector<SyscallRule> const& rules :
        {std::vector<SyscallRule>{}, {NO_FILES_WITHOUT_NAME},
            {NO_FILES_WITHOUT_NAME, {SYS_renameat2, SECCOMP_RET_ERRNO | EINVAL}}}) {
        Folder const folder;
        std::string const file = folder.path() / "a.tar.gz";
        app::OutputFile const output(file, 0600, app::OutputFile::KEPT);
        folder.file("a.tar.gz", FORMER_CONTENT);
        pid_t const child = fork();
        if (child == 0) {
            filterSyscalls(rules);
            try {
                output.write("new");
                _exit(0);
            } catch (app::OutputFileError const& error) {
                _exit(std::string(error.what()).ends_with(": File exists") ? 7 : 1);
            }
        }
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(WEXITSTATUS(status), 7);
        EXPECT_EQ(contentsOf(file), FORMER_CONTENT);
        EXPECT_THAT(filesIn(folder.path()), ElementsAre("a.tar.gz"));
    }
}

TEST(RecordingFile, isWrittenWhereTheFilesystemLacksCalls)
{
    SyscallRule const noFlags = {SYS_renameat2, SECCOMP_RET_ERRNO | EINVAL};
    SyscallRule const noLinks = {SYS_linkat, SECCOMP_RET_ERRNO | EPERM};
    for (std::vector<SyscallRule> const& rules : {std::vector<SyscallRule>{NO_FILES_WITHOUT_NAME},
             {NO_FILES_WITHOUT_NAME, noFlags}, {noLinks}})
        for (bool const force : {false, true}) {
            if (force && rules.back().number == SYS_linkat)
                continue;
            Folder const folder;
            std::string const file = folder.path() / "a.tar.gz";

            EXPECT_EQ(statusOfWriting(file, force, rules), 0);

            EXPECT_EQ(contentsOf(file), app::archiveOf(oddRecording()));
            EXPECT_THAT(filesIn(folder.path()), ElementsAre("a.tar.gz"));
        }
}

TEST(RecordingFile, leavesNothingWhereItCannotBeWritten)
{
    for (unsigned const call : {SYS_fchmod, SYS_fsync})
        for (std::vector<SyscallRule> rules :
            {std::vector<SyscallRule>{}, {NO_FILES_WITHOUT_NAME}}) {
            Folder const folder;
            rules.push_back({call, SECCOMP_RET_ERRNO | EIO});

            EXPECT_EQ(statusOfWriting(folder.path() / "a.tar.gz", false, rules), 1);

            EXPECT_THAT(filesIn(folder.path()), IsEmpty());
        }
}

TEST(RecordingFile, leavesNothingWhereTheProcessIsKilled)
{
    for (unsigned const call : {SYS_fchmod, SYS_fsync, SYS_linkat}) {
        Folder const folder;

        EXPECT_EQ(
            statusOfWriting(folder.path() / "a.tar.gz", false, {{call, SECCOMP_RET_KILL_PROCESS}}),
            -SIGSYS);

        EXPECT_THAT(filesIn(folder.path()), IsEmpty());
    }
}

TEST(RecordingFile, leavesNothingOnAFullDisk)
{
    // A tmpfs ends with the namespace, and that with the process.
    auto const run = [] {
        Folder const folder;
        testkit::enterNamespaces(CLONE_NEWUSER | CLONE_NEWNS);
        if (mount("none", folder.path().c_str(), "tmpfs", 0, "size=4k") != 0)
            testkit::fail("mount", "tmpfs");
        app::Recording recording;
        recording.document = app::archiveOf(oddRecording()); // Cannot be compressed again.
        recording.document += recording.document
            + std::string(recording.document.rbegin(), recording.document.rend());
        try {
            writeRecording(recording, folder.path() / "a.tar.gz", false);
            ADD_FAILURE();
        } catch (app::OutputFileError const& error) {
            EXPECT_THAT(error.what(), HasSubstr("No space left on device"));
        }
        EXPECT_THAT(filesIn(folder.path()), IsEmpty());
        umount(folder.path().c_str());
    };
    EXPECT_EXIT(
        {
            run();
            _exit(testing::Test::HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(RecordingFile, isNotWrittenForARecordingThatContradictsItself)
{
    Folder const folder;
    app::Recording recording = oddRecording();
    recording.files.push_back(recording.files.back());

    EXPECT_THROW(writeRecording(recording, folder.path() / "a.tar.gz", false), app::ArchiveError);

    EXPECT_THAT(filesIn(folder.path()), IsEmpty());
}
