#include "app/recording/archive/archive.h"
#include "tests/app/Program.h"
#include "tests/app/recording/OddRecording.h"
#include "tests/support/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

using app_test::expectSame;
using app_test::Folder;
using app_test::oddRecording;
using testkit::contentsOf;

namespace {

/** Runs a line of the shell in a folder. @return its output and errors. */
std::string shellOutput(Folder const& folder, std::string const& line)
{
    std::string const output = folder.path() / ".output";
    std::string const command =
        "cd " + folder.path().string() + " && { " + line + "; } >" + output + " 2>&1";
    int const status = std::system(command.c_str());
    return contentsOf(output) + (status == 0 ? "" : "failed\n");
}

/** A folder with the archive of the odd recording. */
struct FolderWithArchive : Folder {
    FolderWithArchive() { file("a.tar.gz", app::archiveOf(oddRecording())); }
};

}

TEST(ArchiveOfTools, isListedByTar)
{
    FolderWithArchive const folder;

    EXPECT_EQ(shellOutput(folder, "gzip -t a.tar.gz"), "");
    std::string const names = shellOutput(folder, "tar -tzf a.tar.gz");
    EXPECT_THAT(names, testing::StartsWith("manifest.json\nREADME.txt\ndocument.json\n"));
    EXPECT_THAT(names, testing::HasSubstr("\nroot/var/log/cut\n"));
    EXPECT_THAT(names, testing::Not(testing::HasSubstr("failed")));
}

TEST(ArchiveOfTools, isUnpackedByTar)
{
    FolderWithArchive const folder;

    EXPECT_EQ(shellOutput(folder, "tar -xzf a.tar.gz"), "");

    EXPECT_EQ(contentsOf(folder.path() / "root/var/log/cut"), "the first bytes");
    std::string const deep = "root/" + std::string(90, 'a') + "/" + std::string(90, 'b');
    EXPECT_EQ(contentsOf(folder.path() / deep), "it fits with a prefix");
    EXPECT_EQ(contentsOf(folder.path() / "tools/0.err"), "sh: route: not found\n");
    EXPECT_EQ(
        std::filesystem::read_symlink(folder.path() / "root/sys/block/sda"), "../devices/pci0/sda");
    EXPECT_THAT(contentsOf(folder.path() / "README.txt"), testing::HasSubstr("replay"));
}

TEST(ArchiveOfTools, isReadByPython)
{
    FolderWithArchive const folder;
    folder.file("list.py",
        "import tarfile\n"
        "with tarfile.open('a.tar.gz', 'r:gz') as tar:\n"
        "    for member in tar:\n"
        "        assert member.isfile() or member.issym()\n"
        "    print(tar.extractfile('document.json').read().decode(), end='')\n"
        "    print(oct(member.mode), member.mtime, tar.pax_headers)\n");

    EXPECT_EQ(
        shellOutput(folder, "/usr/bin/python3 list.py"), oddRecording().document + "0o600 0 {}\n");
}

TEST(ArchiveOfTools, isReadAfterItWasPackedAgain)
{
    FolderWithArchive const folder;
    for (char const* const names :
        {"*", ".", "document.json root later numbered tools manifest.json"}) {
        std::string const line =
            std::string("rm -rf u b.tar.gz && mkdir u && cd u && tar -xzf ../a.tar.gz")
            + " && tar --format=ustar -czf ../b.tar.gz " + names;
        EXPECT_EQ(shellOutput(folder, line), "");

        expectSame(oddRecording(), app::readRecording(folder.path() / "b.tar.gz"));
    }
}

TEST(ArchiveOfTools, isRefusedInAnotherFormatWithTheOptionThatHelps)
{
    FolderWithArchive const folder;
    for (std::string const format : {"gnu", "pax", "v7"}) {
        EXPECT_EQ(shellOutput(folder,
                      "rm -rf u && mkdir u && cd u && tar -xzf ../a.tar.gz"
                      " && tar --format="
                          + format + " -czf ../b.tar.gz manifest.json"),
            "");
        try {
            app::readRecording(folder.path() / "b.tar.gz");
            ADD_FAILURE() << format;
        } catch (app::ArchiveError const& error) {
            EXPECT_THAT(error.what(), testing::EndsWith("tar --format=ustar")) << format;
        }
    }
}
