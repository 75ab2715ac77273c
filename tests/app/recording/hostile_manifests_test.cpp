// Manifests that lie, or that are none.

#include "app/recording/archive/archive.h"
#include "tests/app/recording/OddRecording.h"
#include "tests/app/recording/PackedArchive.h"
#include "tests/app/recording/ReadingProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using app_test::expectRefused;
using app_test::oddRecording;
using app_test::PackedArchive;
using app_test::smallRecording;
using Json = nlohmann::ordered_json;

namespace {

/** @return the small archive with another value at the place in its manifest. */
std::string withValue(char const* place, Json const& value)
{
    PackedArchive archive(smallRecording());
    archive.manifest[Json::json_pointer(place)] = value;
    return archive.packed();
}

std::string withoutKey(char const* object, char const* key)
{
    PackedArchive archive(smallRecording());
    archive.manifest[Json::json_pointer(object)].erase(key);
    return archive.packed();
}

/** @return the small archive with two further links or folders. */
std::string withFiles(Json const& one, Json const& other)
{
    PackedArchive archive(smallRecording());
    archive.manifest["files"].push_back(one);
    archive.manifest["files"].push_back(other);
    return archive.packed();
}

Json fileOfKind(char const* path, char const* kind)
{
    return {{"path", path}, {"kind", kind}, {"mode", "0444"}, {"size", 0}, {"opened", false},
        {"queries", Json::array()}, {"target", "c"}};
}

std::string nested(unsigned levels)
{
    return "{\"files\": " + std::string(levels, '[') + std::string(levels, ']') + "}";
}

}

TEST(HostileManifest, isRefusedWhereItIsNoJson)
{
    PackedArchive const archive(smallRecording());
    expectRefused(archive.packedWith(""), "manifest.json: it is no JSON at byte 1");
    expectRefused(archive.packedWith("{\"a\": }"), "manifest.json: it is no JSON at byte 7");
    expectRefused(archive.packedWith("{} {}"), "manifest.json: it is no JSON at byte 4");
    expectRefused(
        archive.packedWith("{\"a\": \"\xff\"}"), "manifest.json: it is no JSON at byte 8");
    expectRefused(
        archive.packedWith("{\"a\": 1e999}"), "manifest.json: it has a number that is too large");
    expectRefused(archive.packedWith("[]"), "manifest.json: it is no object");
    expectRefused(archive.packedWith("{}"), "manifest.json: the manifest has no \"schema\" of it");
}

TEST(HostileManifest, isRefusedWhereItIsNestedTooDeep)
{
    constexpr unsigned DEEP = 100'000;
    PackedArchive const archive(smallRecording());
    expectRefused(
        archive.packedWith(nested(DEEP)), "manifest.json: its values are nested too deep");
    expectRefused(archive.packedWith(std::string(DEEP, '[')),
        "manifest.json: its values are nested too deep");
}

TEST(HostileManifest, isRefusedWhereItIsTooLarge)
{
    constexpr size_t SIZE = 100'000'000;
    expectRefused(PackedArchive(smallRecording()).packedWith(std::string(SIZE, ' ')),
        "manifest.json: it is larger than 16777216 bytes");
}

TEST(HostileManifest, isRefusedWithAnotherSchema)
{
    expectRefused(withValue("/schema", "dovrel-sysinfo-recording/2"),
        "manifest.json: its schema is \"dovrel-sysinfo-recording/2\", not "
        "dovrel-sysinfo-recording/1");
    expectRefused(withValue("/schema", 1), "manifest.json: its \"schema\" is not a string");
}

TEST(HostileManifest, isRefusedWithoutAKey)
{
    for (char const* const key : {"schema", "version", "architecture", "time_seconds", "user_id",
             "redacted", "replacements", "files", "later", "tools", "answers"})
        expectRefused(
            withoutKey("", key), std::string("manifest.json: the manifest has no \"") + key);
    expectRefused(withoutKey("/files/0", "path"), "files[0]: the manifest has no \"path\" of it");
    for (char const* const key : {"kind", "mode", "size", "opened", "queries", "stored_size"})
        expectRefused(
            withoutKey("/files/0", key), std::string("/proc/stat: the manifest has no \"") + key);
    expectRefused(
        withoutKey("/files/1", "target"), "/sys/block/sda: the manifest has no \"target\"");
    for (char const* const key :
        {"command", "ended", "status", "seconds", "queries", "output", "errors"})
        expectRefused(
            withoutKey("/tools/0", key), std::string("tools[0]: the manifest has no \"") + key);
    for (char const* const key : {"member", "size", "stored_size"})
        expectRefused(withoutKey("/tools/0/output", key), "tools[0].output: the manifest has no");
}

TEST(HostileManifest, isRefusedWithValuesOfAnotherType)
{
    expectRefused(withValue("/files", 1), "manifest.json: its \"files\" is not an array");
    expectRefused(withValue("/files/0", "x"), "files[0]: it is no object");
    expectRefused(withValue("/files/0/path", nullptr), "files[0]: its \"path\" is not a string");
    expectRefused(withValue("/files/0/kind", "fifo"), "/proc/stat: its kind \"fifo\" is unknown");
    for (char const* const mode : {"444", "0448", "00444", "-444", "0x44"})
        expectRefused(
            withValue("/files/0/mode", mode), "/proc/stat: its mode is not of four octal digits");
    for (Json const& size : {Json(-1), Json(1.5), Json("1"), Json(), Json(1e30)})
        expectRefused(
            withValue("/files/0/size", size), "/proc/stat: its \"size\" is not a whole number");
    expectRefused(
        withValue("/files/0/opened", 1), "/proc/stat: its \"opened\" is not true or false");
    expectRefused(
        withValue("/files/0/queries", {1}), "/proc/stat: its \"queries\" is not a string");
    expectRefused(withValue("/files/0/error", 13), "/proc/stat: it is no object");
    expectRefused(
        withValue("/files/0/error/number", 4096), "/proc/stat: its \"number\" is not a whole");
    expectRefused(withValue("/tools/0/seconds", "1"), "tools[0]: its \"seconds\" is not a number");
    expectRefused(
        withValue("/tools/0/status", nullptr), "tools[0]: its \"status\" is not a whole number");
    expectRefused(
        withValue("/tools/0/status", 65536), "tools[0]: its \"status\" is not a whole number");
    expectRefused(withValue("/tools/0/output", nullptr), "tools[0].output: it is no object");
    expectRefused(
        withValue("/user_id", 4294967295), "manifest.json: its \"user_id\" is not a whole");
    expectRefused(withValue("/time_seconds", std::numeric_limits<uint64_t>::max()),
        "manifest.json: its \"time_seconds\"");
    expectRefused(withValue("/replacements", {1}), "replacements[0]: it is no object");
    expectRefused(withValue("/answers", {1}), "manifest.json: its \"answers\" is not a string");
}

TEST(HostileManifest, isRefusedWithTextThatItsWriterEscapes)
{
    for (char const* const path : {"/a\nb", "/a\x1b[2J", "/a%", "/a%4", "/a%xx"})
        expectRefused(withValue("/files/0/path", path), "files[0]: its \"path\" is not a string");
    expectRefused(withValue("/files/0/path", "/a%00b"), "/a%00b: the path is not absolute");
    expectRefused(withValue("/files/0/path", "/a%2F..%2Fb"), "/a/../b: the path is not absolute");
}

TEST(HostileManifest, isRefusedWhereASizeIsAnother)
{
    expectRefused(
        withValue("/files/0/stored_size", 9), "/proc/stat: the manifest has another size");
    expectRefused(withValue("/files/0/stored_size", std::numeric_limits<uint64_t>::max()),
        "/proc/stat: the manifest has another size");
    expectRefused(
        withValue("/files/0/size", 9), "/proc/stat: its size is smaller than that of its content");
    expectRefused(
        withValue("/tools/0/output/stored_size", 0), "tools[0].output: the manifest has another");
    expectRefused(withValue("/tools/0/output/size", 6), "the tool dmidecode: its size is smaller");
}

TEST(HostileManifest, isRefusedWhereItsMembersAreOthers)
{
    for (char const* const member :
        {"root/none", "", "../etc/passwd", "/etc/passwd", "document.json/"})
        expectRefused(withValue("/files/0/member", member),
            std::string(member) + ": it is not in the archive");
    expectRefused(withValue("/tools/0/output/member", "root/proc/stat"),
        "root/proc/stat: it is not in the archive");
    expectRefused(withoutKey("/files/0", "member"), "root/proc/stat: it is not in the manifest");
    expectRefused(withValue("/tools", Json::array()), "tools/0.err: it is not in the manifest");
    PackedArchive archive(smallRecording());
    archive.remove("document.json");
    expectRefused(archive.packed(), "document.json: it is not in the archive");
    archive = PackedArchive(smallRecording());
    archive.remove("tools/0.out");
    expectRefused(archive.packed(), "tools/0.out: it is not in the archive");
}

TEST(HostileManifest, isRefusedForPathsThatLeadElsewhere)
{
    for (char const* const path : {"", "etc/passwd", "/../etc", "/a/./b", "//a", "/a//b", "/a/"})
        expectRefused(withValue("/files/0/path", path),
            std::string(path) + ": the path is not absolute, or it has");
    expectRefused(withValue("/files/0/path", "/" + std::string(4096, 'a')),
        "the path is longer than 4096 bytes");
    expectRefused(withValue("/files/0/path", "/"), "/: it is no folder");
    expectRefused(
        withValue("/files/0/path", "/sys/block/sda"), "/sys/block/sda: the path is there twice");
}

TEST(HostileManifest, isRefusedForLinksThatLeaveTheRoot)
{
    for (char const* const target : {"../../../etc", "a/../../../../b", "../../.."}) {
        PackedArchive archive(smallRecording());
        archive.remove("root/sys/block/sda");
        archive.manifest["files"][1]["target"] = target;
        expectRefused(archive.packed(), "/sys/block/sda: the link leads out of the root");
    }
    expectRefused(
        withValue("/files/1/target", ""), "/sys/block/sda: the target of the link is empty");
    expectRefused(
        withValue("/files/1/target", "a%00"), "/sys/block/sda: the target of the link is empty");
}

TEST(HostileManifest, isRefusedForAPathBelowWhatIsNoFolder)
{
    for (char const* const kind : {"link", "regular", "block_device", "other"})
        for (char const* const below : {"link", "folder", "regular", "other"}) {
            Json const top = fileOfKind("/a", kind);
            Json const inner = fileOfKind("/a/b", below);
            expectRefused(withFiles(top, inner), "/a/b: it is below /a, which is no folder");
            expectRefused(withFiles(inner, top), "/a/b: it is below /a, which is no folder");
        }
    expectRefused(
        withFiles(fileOfKind("/sys/block/sda/size", "folder"), fileOfKind("/b", "folder")),
        "/sys/block/sda/size: it is below /sys/block/sda, which is no folder");
    std::string deep;
    for (unsigned i = 0; i < 2000; ++i)
        deep += "/a";
    expectRefused(
        withFiles(fileOfKind(deep.c_str(), "regular"), fileOfKind((deep + "/b").c_str(), "folder")),
        ", which is no folder");
}

TEST(HostileManifest, isShownWithoutControlCharactersAndNotWhole)
{
    auto const reading = app_test::readInChild(
        withValue("/files/0/path", "%0A%1B[2J" + std::string(1'000'000, 'a')));

    EXPECT_THAT(reading.message, testing::StartsWith("%0A%1B[2Jaaa"));
    EXPECT_LT(reading.message.size(), 400U);
}
