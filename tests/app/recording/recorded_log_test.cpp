// What record makes of the log that the preloaded object writes, and of this machine's files.

#include "app/recording/recorded_log.h"
#include "tests/app/Program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <sys/stat.h>

using app::RecordedFile;
using app::Recording;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

/** The folder that the object fills, and a folder that stands for the machine. */
struct RecordedFolders {
    app_test::Folder kept;
    app_test::Folder machine;
    std::string place = machine.path();

    /** Notes that a file was opened, and keeps its content. */
    void keep(std::string const& path, std::string const& content, std::string& log) const
    {
        kept.file("root" + path, content);
        log += "system open " + path + " 0\n";
    }

    Recording read(std::string const& log) const
    {
        kept.file("log", log);
        Recording recording;
        app::readRecorded(kept.path(), recording);
        return recording;
    }

    /** @return the answers to lines of the log. */
    std::vector<std::string> answersTo(std::vector<std::string> const& lines) const
    {
        std::string log;
        for (std::string const& line : lines)
            log += "disks answer " + line + "\n";
        return read(log).answers;
    }
};

/** @return null where the recording has no such path. */
RecordedFile const* fileAt(Recording const& recording, std::string const& path)
{
    for (RecordedFile const& file : recording.files)
        if (file.path == path)
            return &file;
    return nullptr;
}

}

TEST(RecordedLog, hasEachLinkOnTheWayToAFile)
{
    RecordedFolders const folders;
    std::string const& place = folders.place;
    folders.machine.file("real/size", "1\n");
    fs::create_directory_symlink("real", place + "/relative");
    fs::create_directory_symlink(place + "/relative", place + "/absolute");
    std::string log;
    folders.keep(place + "/absolute/./../absolute/size", "1\n", log);

    Recording const recording = folders.read(log);

    ASSERT_TRUE(fileAt(recording, place + "/absolute"));
    EXPECT_EQ(fileAt(recording, place + "/absolute")->content, place + "/relative");
    ASSERT_TRUE(fileAt(recording, place + "/relative"));
    EXPECT_EQ(fileAt(recording, place + "/relative")->content, "real");
    ASSERT_TRUE(fileAt(recording, place + "/real/size"));
    EXPECT_THAT(fileAt(recording, place + "/real/size")->queries, ElementsAre("system"));
}

TEST(RecordedLog, hasACircleOfLinksWithoutAFile)
{
    RecordedFolders const folders;
    std::string const& place = folders.place;
    fs::create_symlink("b", place + "/a");
    fs::create_symlink("a", place + "/b");

    Recording const recording = folders.read("disks look " + place + "/a\n");

    ASSERT_EQ(recording.files.size(), 2U);
    for (RecordedFile const& file : recording.files)
        EXPECT_EQ(file.kind, RecordedFile::LINK);
}

TEST(RecordedLog, hasTheKindOfEachNameInAFolder)
{
    RecordedFolders const folders;
    std::string const& place = folders.place;
    folders.machine.file("folder/file", "");
    fs::create_symlink("file", place + "/folder/link");
    ASSERT_EQ(mkfifo((place + "/folder/fifo").c_str(), 0600), 0);

    Recording const recording = folders.read("disks list " + place + "/folder 0\n");

    ASSERT_TRUE(fileAt(recording, place + "/folder/file"));
    EXPECT_EQ(fileAt(recording, place + "/folder/file")->kind, RecordedFile::REGULAR);
    EXPECT_EQ(fileAt(recording, place + "/folder/link")->kind, RecordedFile::LINK);
    EXPECT_EQ(fileAt(recording, place + "/folder/link")->content, "file");
    EXPECT_EQ(fileAt(recording, place + "/folder/fifo")->kind, RecordedFile::OTHER);
    ASSERT_EQ(recording.answers.size(), 1U);
    EXPECT_THAT(recording.answers[0], testing::StartsWith("lists " + place + "/folder "));
}

/** A folder may be gone when the log is read. */
TEST(RecordedLog, hasAFolderThatHasVanished)
{
    RecordedFolders const folders;
    std::string const path = folders.place + "/gone/below";

    Recording const recording = folders.read("disks list " + path + " 0\n");

    ASSERT_TRUE(fileAt(recording, path));
    EXPECT_EQ(fileAt(recording, path)->kind, RecordedFile::ABSENT);
    EXPECT_THAT(recording.answers, ElementsAre("lists " + path));
}

TEST(RecordedLog, hasTheErrorOfAFileThatCannotBeRead)
{
    RecordedFolders const folders;
    std::string const path = folders.machine.file("file", "");

    Recording const recording =
        folders.read("disks open " + path + " 0\ndisks read " + path + " EIO\n");

    ASSERT_TRUE(fileAt(recording, path));
    EXPECT_EQ(fileAt(recording, path)->error, EIO);
    EXPECT_THAT(recording.answers, ElementsAre("refuses read " + path + " EIO"));
}

TEST(RecordedLog, skipsTheLineOfAProcessThatWasKilled)
{
    RecordedFolders const folders;
    EXPECT_THAT(folders.read("disks look\ndisks").files, IsEmpty());
}

TEST(RecordedLog, hasOfTheFirstProcessOnlyTheVariableOfTheContainer)
{
    for (auto const& [environment, kept] :
        {std::pair{
             std::string("PASSWORD=x\0container=lxc\0", 25), std::string("container=lxc\0", 14)},
            std::pair{std::string("PASSWORD=x\0", 11), std::string()}}) {
        RecordedFolders const folders;
        std::string log;
        folders.keep("/proc/1/environ", environment, log);

        Recording const recording = folders.read(log);

        ASSERT_TRUE(fileAt(recording, "/proc/1/environ"));
        EXPECT_EQ(fileAt(recording, "/proc/1/environ")->content, kept);
        EXPECT_EQ(fileAt(recording, "/proc/1/environ")->size, kept.size());
    }
}

TEST(RecordedLog, putsTheBusOfADiskBehindItsSectorSize)
{
    RecordedFolders const folders;
    EXPECT_THAT(folders.answersTo({"sector /dev/sda 512", "bus /dev/sda 3", "bus /dev/sda 4",
                    "bus /dev/sdb 5", "bus /dev/sdc ENOTTY"}),
        ElementsAre("sector /dev/sda 512 bus 3", "sector /dev/sdb ENOTTY bus 5"));
}

TEST(RecordedLog, hasTheFirstAnswerOfEachCall)
{
    RecordedFolders const folders;
    EXPECT_THAT(folders.answersTo({"hostname a", "hostname b", "statvfs / hang",
                    "statvfs /nfs hang", "statvfs / 1 1 1 1 1 1 1 ", "statvfs / 2 2 2 2 2 2 2 ",
                    "address lo 127.0.0.1/8", "address lo ::1/128", "address lo ::1/128"}),
        ElementsAre("hostname a", "statvfs / 1 1 1 1 1 1 1", "statvfs /nfs hang",
            "address lo 127.0.0.1/8", "address lo ::1/128"));
}

/** A process that is killed may leave no file, or only some of them. */
TEST(RecordedLog, hasWhatAToolLeftThatWasKilled)
{
    RecordedFolders const folders;
    folders.kept.file("tools/1.command", std::string("sh\0-c\0pvdisplay\0", 16));
    folders.kept.file("tools/1.out", "the first line\n");

    Recording const recording = folders.read("disks tool 1\nmounts tool 1\ndisks tool 2\n");

    ASSERT_EQ(recording.tools.size(), 1U);
    EXPECT_THAT(recording.tools[0].command, ElementsAre("sh", "-c", "pvdisplay"));
    EXPECT_EQ(recording.tools[0].output, "the first line\n");
    EXPECT_EQ(recording.tools[0].outputSize, 15U);
    EXPECT_EQ(recording.tools[0].status, -1);
    EXPECT_THAT(recording.tools[0].queries, ElementsAre("disks", "mounts"));
}
