#include "app/recording/archive/archive.h"
#include "app/recording/archive/limits.h"
#include "tests/app/recording/OddRecording.h"
#include "tests/app/recording/PackedArchive.h"
#include "tests/app/recording/ReadingProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

using app::RecordedFile;
using app::Recording;
using app_test::expectRefused;
using app_test::PackedArchive;
using app_test::readInChild;
using app_test::recordedFolder;
using app_test::recordedLink;
using app_test::regularFile;
using app_test::smallRecording;
using testing::HasSubstr;

namespace {

constexpr size_t MEBIBYTE = 1024 * 1024;

/** Expects that the recording cannot be written. */
void expectUnwritable(Recording const& recording, std::string const& message)
{
    try {
        app::archiveOf(recording);
        ADD_FAILURE() << message;
    } catch (app::ArchiveError const& error) {
        EXPECT_THAT(error.what(), HasSubstr(message));
    }
}

Recording withFiles(std::vector<RecordedFile> files)
{
    Recording recording;
    recording.files = std::move(files);
    return recording;
}

/** @return bytes that cannot be compressed. */
std::string noise(size_t size)
{
    std::string bytes(size, '\0');
    uint32_t state = 1;
    for (char& byte : bytes) {
        state = state * 1'664'525 + 1'013'904'223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

}

TEST(RecordingBounds, areKeptByTheWriter)
{
    expectUnwritable(withFiles({regularFile("/a", std::string(MEBIBYTE + 1, 'a'))}),
        "/a: 1048577 bytes of it are recorded, more than 1048576");
    std::vector<RecordedFile> files;
    for (unsigned i = 0; i < 65; ++i)
        files.push_back(regularFile("/" + std::to_string(100 + i), std::string(MEBIBYTE, 'a')));
    expectUnwritable(
        withFiles(files), "the recording: its contents are larger than 67108864 bytes");
    files.resize(64);
    EXPECT_NO_THROW(app::archiveOf(withFiles(files)));
    Recording recording;
    recording.answers.assign(app::MOST_ITEMS + 1, "a");
    expectUnwritable(recording, "the recording: it has more than 20000 items");
    recording.answers.assign(1, std::string(17 * MEBIBYTE, 'a'));
    expectUnwritable(recording, "manifest.json: it is larger than 16777216 bytes");
    recording = Recording();
    recording.document.assign(16 * MEBIBYTE + 1, 'a');
    expectUnwritable(recording, "the document: it is larger than");
}

TEST(RecordingBounds, refuseWhatAReplayCannotBuild)
{
    expectUnwritable(withFiles({regularFile("a", "")}), "a: the path is not absolute");
    expectUnwritable(
        withFiles({regularFile("/a/../b", "")}), "/a/../b: the path is not absolute, or");
    expectUnwritable(
        withFiles({regularFile("/" + std::string(4096, 'a'), "")}), "longer than 4096");
    expectUnwritable(withFiles({regularFile("/", "")}), "/: it is no folder");
    expectUnwritable(
        withFiles({regularFile("/a", ""), regularFile("/a", "")}), "/a: the path is there twice");
    expectUnwritable(
        withFiles({regularFile("/a", ""), regularFile("/a-b", ""), regularFile("/a/b", "")}),
        "/a/b: it is below /a, which is no folder");
    expectUnwritable(withFiles({recordedLink("/a", "c"), recordedFolder("/a/b/c")}),
        "/a/b/c: it is below /a, which is no folder");
    expectUnwritable(withFiles({recordedLink("/a", "")}), "/a: the target of the link is empty");
    RecordedFile folder = recordedFolder("/a");
    folder.content = "a";
    expectUnwritable(withFiles({folder}), "/a: it has a content and is no regular file");
    RecordedFile smaller = regularFile("/a", "abc");
    smaller.size = 2;
    expectUnwritable(withFiles({smaller}), "/a: its size is smaller");
    RecordedFile unopened = regularFile("/a", "abc");
    unopened.opened = false;
    expectUnwritable(withFiles({unopened}), "/a: it has a content");
    RecordedFile odd = regularFile("/a", "");
    odd.error = -1;
    expectUnwritable(withFiles({odd}), "/a: its mode or its error");
}

TEST(RecordingBounds, allowWhatIsAbsentBelowAnything)
{
    RecordedFile absent = recordedFolder("/a/b");
    absent.kind = RecordedFile::ABSENT;
    RecordedFile below = recordedFolder("/a/b/c");
    EXPECT_NO_THROW(app::archiveOf(withFiles({regularFile("/a", ""), absent})));
    EXPECT_NO_THROW(app::archiveOf(withFiles({absent, below})));
    expectUnwritable(
        withFiles({regularFile("/a", ""), absent, below}), "/a/b/c: it is below /a, which");
}

TEST(RecordingBounds, areThoseOfFilesAndLaterFilesTogether)
{
    Recording recording = withFiles({regularFile("/a", "first")});
    recording.later = {regularFile("/a", "second"), regularFile("/b", "")};
    EXPECT_NO_THROW(app::archiveOf(recording));
    recording.later[0].kind = RecordedFile::ABSENT;
    recording.later[0].content.clear();
    EXPECT_NO_THROW(app::archiveOf(recording));
    recording.files.push_back(recordedFolder("/a/b"));
    expectUnwritable(recording, "/a/b: it is below /a, which is no folder");
    recording.files.pop_back();
    recording.later[0] = recordedLink("/a", "c");
    expectUnwritable(recording, "/a: it is of another kind later");
    recording.later[0] = regularFile("/a/b", "");
    expectUnwritable(recording, "/a/b: it is below /a, which is no folder");
    recording.later = {regularFile("/b", ""), regularFile("/b", "")};
    expectUnwritable(recording, "/b: the path is there twice");
}

TEST(RecordingBounds, areKeptByTools)
{
    Recording recording = smallRecording();
    auto& tool = recording.tools[0];
    tool.seconds = NAN;
    expectUnwritable(recording, "the tool dmidecode: its duration");
    tool.seconds = -1;
    expectUnwritable(recording, "the tool dmidecode: its duration");
    tool.seconds = 1;
    tool.status = 0x10000;
    expectUnwritable(recording, "the tool dmidecode: its status");
    tool.status = 0;
    tool.command.clear();
    expectUnwritable(recording, "the tool: it has no command");
}

TEST(RecordingBounds, refuseMoreProcessorsThanLinuxHas)
{
    auto const processors = [](std::string const& begin, std::string const& end, unsigned count) {
        std::string text;
        for (unsigned i = 0; i < count; ++i)
            text += begin + std::to_string(i) + end;
        return text;
    };
    constexpr unsigned MOST = 8192;
    for (auto const& [begin, end] : {std::pair{"cpu", " 1 2 3 4\n"},
             std::pair{"processor\t: ", "\ncpu family\t: 6\ncpu MHz\t: 2394.374\n\n"},
             std::pair{" cpu", ""}}) {
        EXPECT_NO_THROW(
            app::archiveOf(withFiles({regularFile("/proc/stat", processors(begin, end, MOST))})));
        expectUnwritable(withFiles({regularFile("/proc/stat", processors(begin, end, MOST + 1))}),
            "/proc/stat: it has 8193 processors, more than 8192");
    }
    Recording recording = withFiles({recordedLink("/proc/stat", "../elsewhere")});
    recording.later = {regularFile("/elsewhere", processors("cpu", "\n", MOST + 1))};
    expectUnwritable(recording, "/elsewhere: it has 8193 processors");
}

TEST(RecordingBounds, allowTheLargestRecordingInTimeAndMemory)
{
    Recording recording;
    for (unsigned i = 0; i < app::MOST_ITEMS; ++i) {
        recording.files.push_back(regularFile("/" + std::to_string(1'000'000 + i), "a"));
        recording.files.back().path += std::string(150, 'n');
        recording.files.back().queries.assign(20, "");
    }
    for (unsigned i = 0; i < 47; ++i) {
        recording.files[i].content = noise(MEBIBYTE);
        recording.files[i].size = MEBIBYTE;
    }
    recording.document.assign(16 * MEBIBYTE - 20'000, 'd');

    auto const reading = readInChild(app::archiveOf(recording));

    EXPECT_EQ(reading.message, "read");
    EXPECT_LT(reading.seconds, 10);
    EXPECT_LT(reading.kibibytes, 256 * 1024);
}

TEST(RecordingBounds, countValuesOfTheManifest)
{
    PackedArchive archive(smallRecording());
    std::string const small = archive.manifest.dump();
    auto const withAnswers = [&archive, &small](std::string const& answers) {
        std::string const none = "\"answers\":[]";
        std::string manifest = small;
        manifest.replace(manifest.find(none), none.size(), "\"answers\":" + answers);
        return archive.packedWith(manifest);
    };
    auto const list = [](unsigned count) {
        std::string text = "[\"\"";
        for (unsigned i = 1; i < count; ++i)
            text += ",\"\"";
        return text + "]";
    };
    expectRefused(withAnswers(list(1'000'000)), "manifest.json: it has too many values");
    expectRefused(withAnswers(list(700'000)), "the recording: it has more than 20000 items");
    std::string object = "{\"\": \"\"";
    for (unsigned i = 0; i < 390'000; ++i)
        object += ",\"a key that is long: " + std::to_string(i) + "\":\"\"";
    expectRefused(withAnswers(object + "}"), "manifest.json: its \"answers\" is not an array");
}

/** `replay --check` compares it with another one, which needs several times its memory. */
TEST(RecordingBounds, countValuesOfTheDocument)
{
    PackedArchive archive(smallRecording());
    std::string& document = archive.member("document.json").content;
    for (document = "[0"; document.size() < 16'000'000;)
        document += ",0,0,0,0,0,0,0,0";
    document += ']';
    expectRefused(archive.packed(), "document.json: it has too many values");
    document.assign(33, '[');
    expectRefused(archive.packed(), "document.json: its values are nested too deep");
    document.assign(32, '[').append(32, ']');
    EXPECT_EQ(readInChild(archive.packed()).message, "read");
}
