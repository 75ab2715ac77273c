#include "tests/app/recording/OddRecording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <limits>

using app::RecordedFile;
using app::RecordedTool;
using app::Recording;

namespace app_test {

namespace {

constexpr unsigned FILE_MODE = 0444;
constexpr unsigned FOLDER_MODE = 01777;
constexpr unsigned LINK_MODE = 0777;

/** @return text that no text editor shows as it is. */
std::string oddText()
{
    std::string text = "100 % \xff\xfe\xc3 \xc2\x85 \xed\xa0\x80 \x1b[2J\n\t\"\\/ "
                       "g\xc3\xbc\xc3\xa4\x7f \xe2\x82\xac";
    text += '\0';
    return text + " %41 %zz %";
}

RecordedFile withoutContent(std::string const& path, RecordedFile::Kind kind, int error)
{
    RecordedFile file;
    file.path = path;
    file.kind = kind;
    file.error = error;
    file.opened = error != 0;
    file.queries = {"networks"};
    return file;
}

std::vector<RecordedFile> oddFiles()
{
    RecordedFile cut = regularFile("/var/log/cut", "the first bytes");
    cut.size = std::numeric_limits<uint64_t>::max();
    RecordedFile partly = regularFile("/proc/partly", "some of it");
    partly.error = EIO;
    RecordedFile onlyLookedAt = regularFile("/sys/looked at", "");
    onlyLookedAt.opened = false;
    onlyLookedAt.size = 4096;
    std::string const odd = "/odd/\x1b[31m\xff\n%41";
    std::string const deep = "/" + std::string(90, 'a') + "/" + std::string(90, 'b');
    std::string const twoDots = "/dev/disk/by-id/..odd";
    return {cut, partly, onlyLookedAt, recordedFolder("/"), recordedFolder("/sys"),
        regularFile(odd, oddText()), regularFile(deep, "it fits with a prefix"),
        regularFile("/" + std::string(240, 'c'), "too long a name"),
        regularFile("/long/" + std::string(4000, 'd'), "much too long"), regularFile("/empty", ""),
        regularFile("/a/B", "upper"), regularFile("/a/b", "lower"),
        regularFile(twoDots, "a name that begins with two dots"),
        recordedLink("/sys/block/sda", "../devices/pci0/sda"),
        recordedLink("/etc/mtab", "/proc/self/mounts"), recordedLink("/loop", "loop"),
        recordedLink("/link/odd", oddText().substr(0, 20)),
        recordedLink("/link/long", std::string(300, 'x')),
        withoutContent("/etc/shadow", RecordedFile::REGULAR, EACCES),
        withoutContent("/odd error", RecordedFile::REGULAR, 524),
        withoutContent("/dev/sda", RecordedFile::BLOCK_DEVICE, 0),
        withoutContent("/dev/null", RecordedFile::OTHER, ENXIO),
        withoutContent("/dev/sda/below", RecordedFile::ABSENT, ENOTDIR),
        withoutContent("/nowhere", RecordedFile::ABSENT, ENOENT)};
}

RecordedTool oddTool()
{
    RecordedTool tool;
    tool.command = {"sh", "-c", "route -n | grep \xff " + std::string("'^0'"), ""};
    tool.output = oddText();
    tool.outputSize = 1'000'000'000'000;
    tool.errors = "sh: route: not found\n";
    tool.errorsSize = tool.errors.size();
    tool.status = 127 << 8;
    tool.seconds = 0.1;
    tool.queries = {"networks", "system"};
    return tool;
}

RecordedTool hangingTool()
{
    RecordedTool tool;
    tool.command = {"/usr/sbin/dmidecode"};
    tool.status = -1;
    tool.seconds = 5.000000001;
    return tool;
}

void expectSameFiles(std::vector<RecordedFile> const& ones, std::vector<RecordedFile> const& others)
{
    ASSERT_EQ(ones.size(), others.size());
    for (size_t i = 0; i < ones.size(); ++i) {
        SCOPED_TRACE(ones[i].path);
        EXPECT_EQ(ones[i].path, others[i].path);
        EXPECT_EQ(ones[i].kind, others[i].kind);
        EXPECT_EQ(ones[i].mode, others[i].mode);
        EXPECT_EQ(ones[i].size, others[i].size);
        EXPECT_EQ(ones[i].content, others[i].content);
        EXPECT_EQ(ones[i].error, others[i].error);
        EXPECT_EQ(ones[i].opened, others[i].opened);
        EXPECT_EQ(ones[i].queries, others[i].queries);
    }
}

void expectSameTools(std::vector<RecordedTool> const& ones, std::vector<RecordedTool> const& others)
{
    ASSERT_EQ(ones.size(), others.size());
    for (size_t i = 0; i < ones.size(); ++i) {
        EXPECT_EQ(ones[i].command, others[i].command);
        EXPECT_EQ(ones[i].output, others[i].output);
        EXPECT_EQ(ones[i].errors, others[i].errors);
        EXPECT_EQ(ones[i].outputSize, others[i].outputSize);
        EXPECT_EQ(ones[i].errorsSize, others[i].errorsSize);
        EXPECT_EQ(ones[i].status, others[i].status);
        EXPECT_EQ(ones[i].seconds, others[i].seconds);
        EXPECT_EQ(ones[i].queries, others[i].queries);
    }
}

}

RecordedFile regularFile(std::string const& path, std::string const& content)
{
    return {path, RecordedFile::REGULAR, FILE_MODE, content.size(), content, 0, true,
        {"disks", "\xff odd"}};
}

RecordedFile recordedLink(std::string const& path, std::string const& target)
{
    return {path, RecordedFile::LINK, LINK_MODE, 0, target, 0, false, {"disks"}};
}

RecordedFile recordedFolder(std::string const& path)
{
    return {path, RecordedFile::FOLDER, FOLDER_MODE, 0, "", 0, true, {}};
}

Recording oddRecording()
{
    Recording recording;
    recording.version = "1.2.3 \xff";
    recording.architecture = "i386";
    recording.time = -1;
    recording.user = std::numeric_limits<unsigned>::max() - 1;
    recording.files = oddFiles();
    std::sort(recording.files.begin(), recording.files.end(),
        [](RecordedFile const& one, RecordedFile const& other) { return one.path < other.path; });
    recording.later = {regularFile("/" + std::string(300, 'e'), "later and too long"),
        regularFile("/proc/stat", "cpu 2 3 4\n")};
    recording.tools = {oddTool(), hangingTool()};
    recording.answers = {"statvfs / 4096 4096 100 50 40 1000 900", oddText(), ""};
    recording.document = "{\"schema\": \"dovrel-sysinfo/1\"}\n";
    recording.redacted = true;
    recording.replacements = {{"mac_address", 3, 40}, {"\xff", 0, 0}};
    return recording;
}

Recording smallRecording()
{
    Recording recording;
    recording.version = "0.1.0";
    recording.architecture = "amd64";
    recording.time = 1'774'360'800;
    recording.files = {
        regularFile("/proc/stat", "cpu 1 2 3\n"), recordedLink("/sys/block/sda", "../devices/sda")};
    RecordedTool tool;
    tool.command = {"dmidecode"};
    tool.output = "SMBIOS\n";
    tool.outputSize = tool.output.size();
    recording.tools = {tool};
    recording.document = "{}\n";
    return recording;
}

void expectSame(Recording const& one, Recording const& other)
{
    EXPECT_EQ(one.version, other.version);
    EXPECT_EQ(one.architecture, other.architecture);
    EXPECT_EQ(one.time, other.time);
    EXPECT_EQ(one.user, other.user);
    expectSameFiles(one.files, other.files);
    expectSameFiles(one.later, other.later);
    expectSameTools(one.tools, other.tools);
    EXPECT_EQ(one.answers, other.answers);
    EXPECT_EQ(one.document, other.document);
    EXPECT_EQ(one.redacted, other.redacted);
    ASSERT_EQ(one.replacements.size(), other.replacements.size());
    for (size_t i = 0; i < one.replacements.size(); ++i) {
        EXPECT_EQ(one.replacements[i].kind, other.replacements[i].kind);
        EXPECT_EQ(one.replacements[i].values, other.replacements[i].values);
        EXPECT_EQ(one.replacements[i].occurrences, other.replacements[i].occurrences);
    }
}

}
