#include "tests/app/recording/OddRecording.h"
#include "tests/app/recording/PackedArchive.h"
#include "tests/app/schema_errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

using app_test::oddRecording;
using app_test::PackedArchive;
using app_test::schemaErrors;
using app_test::smallRecording;
using Json = nlohmann::ordered_json;

namespace {

Json oddManifest()
{
    return PackedArchive(oddRecording()).manifest;
}

/** @return the path of a JSON pointer as the validator writes it: "$.files[0]". */
std::string pathOf(std::string const& pointer)
{
    return "$"
        + std::regex_replace(
            std::regex_replace(pointer, std::regex("/([0-9]+)"), "[$1]"), std::regex("/"), ".");
}

}

TEST(ManifestSchema, isFollowedByEachManifest)
{
    EXPECT_EQ(schemaErrors(oddManifest().dump() + PackedArchive(smallRecording()).manifest.dump()
                  + PackedArchive(app::Recording()).manifest.dump()),
        "");
}

TEST(ManifestSchema, isNotFollowedWithoutAnyOneKey)
{
    Json const whole = oddManifest();
    std::string documents;
    std::vector<std::string> expected;
    for (std::string const object :
        {"", "/files/1", "/tools/0", "/tools/0/output", "/replacements/0"}) {
        for (auto const& [key, value] : whole[Json::json_pointer(object)].items()) {
            Json manifest = whole;
            manifest[Json::json_pointer(object)].erase(key);
            documents += manifest.dump() + "\n";
            expected.push_back(pathOf(object) + ": '" + key + "' is a ");
        }
    }
    std::string const errors = schemaErrors(documents);
    for (std::string const& error : expected)
        EXPECT_THAT(errors, testing::HasSubstr(error));
    EXPECT_GT(expected.size(), 30U);
}

TEST(ManifestSchema, isNotFollowedByOtherValues)
{
    std::pair<char const*, Json> const values[] = {{"/schema", "dovrel-sysinfo/1"},
        {"/later/0/kind", "fifo"}, {"/files/0/mode", "448"}, {"/files/0/path", "a"},
        {"/files/0/size", -1}, {"/later/0/stored_size", 1048577}, {"/tools/0/status", "1"},
        {"/tools/0/ended", 1}, {"/tools/0/command", Json::array()}, {"/answers/0", "100 %"},
        {"/answers/1", "a\nb"}};
    std::string documents;
    for (auto const& [place, value] : values) {
        Json manifest = oddManifest();
        manifest[Json::json_pointer(place)] = value;
        documents += manifest.dump() + "\n";
    }
    std::string const errors = schemaErrors(documents);
    for (auto const& [place, value] : values)
        EXPECT_THAT(errors, testing::HasSubstr(pathOf(place) + ": ")) << value;
}

TEST(ManifestSchema, isNotFollowedByFurtherKeysInTheTests)
{
    Json manifest = oddManifest();
    manifest["further"] = 1;
    EXPECT_NE(schemaErrors(manifest.dump()), "");
}
