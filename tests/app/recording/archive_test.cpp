#include "app/recording/archive/TarReader.h"
#include "app/recording/archive/archive.h"
#include "tests/app/Program.h"
#include "tests/app/recording/OddRecording.h"
#include "tests/app/recording/PackedArchive.h"
#include "tests/app/recording/ReadingProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <sys/stat.h>

using app::ArchiveError;
using app::archiveOf;
using app::readRecording;
using app::Recording;
using app_test::expectSame;
using app_test::gzipped;
using app_test::oddRecording;
using app_test::PackedArchive;
using app_test::recordedLink;
using app_test::regularFile;
using app_test::smallRecording;
using app_test::tarOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

Recording readBack(std::string const& archive)
{
    std::istringstream stream(archive);
    return readRecording(stream);
}

std::vector<std::string> namesOf(PackedArchive const& archive)
{
    std::vector<std::string> names;
    for (auto const& member : archive.members)
        names.push_back(member.name);
    return names;
}

/** @return the message of the error that reading the file throws. */
std::string messageOfFile(std::string const& path)
{
    try {
        readRecording(path);
        return "read";
    } catch (ArchiveError const& error) {
        return error.what();
    }
}

}

TEST(Archive, keepsEachFieldOfARecording)
{
    Recording const recording = oddRecording();
    expectSame(recording, readBack(archiveOf(recording)));
    expectSame(Recording(), readBack(archiveOf(Recording())));
}

TEST(Archive, keepsPathsWithPercentSigns)
{
    Recording recording;
    recording.files = {regularFile("/sys/%41", "one"), regularFile("/sys/100%", "two"),
        regularFile("/sys/A", "three")};
    std::string const archive = archiveOf(recording);

    EXPECT_THAT(namesOf(PackedArchive(recording)), Contains("root/sys/100%"));
    expectSame(recording, readBack(archive));
}

TEST(Archive, isTheSameForTheSameRecording)
{
    std::string const archive = archiveOf(oddRecording());

    EXPECT_EQ(archiveOf(readBack(archive)), archive);
}

TEST(Archive, hasReadableNamesWhereTheyFit)
{
    PackedArchive const archive(oddRecording());
    std::vector<std::string> const names = namesOf(archive);

    EXPECT_THAT(names, Contains("README.txt"));
    EXPECT_THAT(names, Contains("document.json"));
    EXPECT_THAT(names, Contains("root/var/log/cut"));
    EXPECT_THAT(names, Contains("root/" + std::string(90, 'a') + "/" + std::string(90, 'b')));
    EXPECT_THAT(names, Contains("later/proc/stat"));
    EXPECT_THAT(names, Contains("later/proc/stat"));
    EXPECT_THAT(names, Contains("numbered/later/0"));
    EXPECT_THAT(names, Contains("tools/0.out"));
    EXPECT_THAT(names, Contains("tools/1.err"));
    EXPECT_EQ(std::count_if(names.begin(), names.end(),
                  [](std::string const& name) { return name.starts_with("numbered/root/"); }),
        3);
}

TEST(Archive, beginsWithTheManifest)
{
    std::istringstream stream(archiveOf(oddRecording()));
    app::TarReader reader(stream);

    EXPECT_EQ(reader.next()->name, "manifest.json");
}

TEST(Archive, hasOnlyLinksThatLeadToAPlaceInIt)
{
    PackedArchive const archive(oddRecording());
    std::vector<std::string> links;
    for (auto const& member : archive.members)
        if (member.type == app::TAR_LINK)
            links.push_back(member.name + " " + member.target);

    EXPECT_THAT(
        links, testing::ElementsAre("root/loop loop", "root/sys/block/sda ../devices/pci0/sda"));
}

TEST(Archive, hasAnAbsoluteTargetForALinkThatLeavesTheRoot)
{
    Recording recording;
    recording.files = {recordedLink("/etc/mtab", "../../../proc/mounts")};
    recording.later = {recordedLink("/a", "..")};

    Recording const read = readBack(archiveOf(recording));

    EXPECT_EQ(read.files[0].content, "/proc/mounts");
    EXPECT_EQ(read.later[0].content, "/");
}

TEST(Archive, hasTheReasonOfAnUnreadableFileInWords)
{
    auto const manifest = PackedArchive(oddRecording()).manifest;
    std::string const files = manifest["files"].dump();

    EXPECT_THAT(
        files, HasSubstr(R"("error":{"number":13,"name":"EACCES","text":"Permission denied"})"));
    EXPECT_THAT(files, HasSubstr(R"("error":{"number":524,"name":null,"text":null})"));
}

TEST(Archive, hasTextThatATerminalShowsAsItIs)
{
    PackedArchive const archive(oddRecording());
    for (char const byte : archive.manifest.dump())
        EXPECT_GE(static_cast<unsigned char>(byte), ' ');
    EXPECT_THAT(archive.manifest.dump(), HasSubstr("\"/odd/%1B[31m%FF%0A%2541\""));
}

TEST(Archive, mayHaveItsMembersInAnyOrder)
{
    PackedArchive archive(oddRecording());
    std::vector<app_test::PackedMember> members(archive.members.rbegin(), archive.members.rend());
    for (char const* const folder : {"./", ".", "./root/", "root", "root/proc/"})
        members.insert(members.begin(), {folder, "", app::TAR_FOLDER, "", {}});
    members.push_back({"./manifest.json", archive.manifest.dump(), app::TAR_OLD_FILE, "", {}});

    expectSame(oddRecording(), readBack(gzipped(tarOf(members))));
}

TEST(Archive, mayLackItsReadmeAndItsLinks)
{
    PackedArchive archive(smallRecording());
    archive.remove("README.txt");
    archive.remove("root/sys/block/sda");

    expectSame(smallRecording(), readBack(archive.packed()));
}

TEST(Archive, mayHaveFurtherKeys)
{
    PackedArchive archive(smallRecording());
    archive.manifest["later_version"] = {1, 2};
    archive.manifest["files"][0]["also"] = nullptr;

    expectSame(smallRecording(), readBack(archive.packed()));
}

TEST(ArchiveFile, isReadFromTheDisk)
{
    app_test::Folder const folder;
    std::string const file = folder.file("a.tar.gz", archiveOf(oddRecording()));

    expectSame(oddRecording(), readRecording(file));
}

TEST(ArchiveFile, thatCannotBeReadIsNamed)
{
    app_test::Folder const folder;
    std::string const fifo = folder.path() / "fifo";
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);

    EXPECT_EQ(messageOfFile(folder.path() / "none"),
        "cannot read " + (folder.path() / "none").string() + ": No such file or directory");
    EXPECT_EQ(messageOfFile(folder.path()),
        "cannot read " + folder.path().string() + ": it is no regular file");
    EXPECT_EQ(messageOfFile(fifo), "cannot read " + fifo + ": it is no regular file");
    std::string const text = folder.file("text", "no archive\n");
    EXPECT_EQ(messageOfFile(text),
        "cannot read " + text + ": member 1: the gzip stream is damaged, or it is none");
}
