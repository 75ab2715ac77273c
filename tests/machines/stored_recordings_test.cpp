// The recordings of real machines that are stored beside the fake ones.

#include "tests/machines/ProgramRun.h"
#include "tests/machines/RunningMachine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace {

using machines::ProgramRun;

/** @return the *.tar.gz in the folder of the machines; called in the real root, before main(). */
std::vector<std::string> storedRecordings()
{
    std::vector<std::string> files;
    for (auto const& entry : std::filesystem::directory_iterator(DOVREL_MACHINES_FOLDER))
        if (entry.path().string().ends_with(".tar.gz"))
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

class StoredRecordings : public testing::TestWithParam<std::string> { };

}

TEST_P(StoredRecordings, replayTheMachinesOwnDocument)
{
    machines::RealRoot const root;
    ProgramRun check({"replay", "--check", GetParam()}, std::nullopt, ProgramRun::REAL);
    constexpr std::chrono::seconds LIMIT(120);
    ASSERT_TRUE(ProgramRun::finish({&check}, LIMIT));

    EXPECT_EQ(check.status(), 0) << check.output() << check.errors();
    constexpr uintmax_t MOST_BYTES = 40 * 1024; // Of a file of the repository.
    EXPECT_LE(std::filesystem::file_size(GetParam()), MOST_BYTES);
}

INSTANTIATE_TEST_SUITE_P(
    All, StoredRecordings, testing::ValuesIn(storedRecordings()), [](auto const& test) {
        std::string name = std::filesystem::path(test.param).stem().stem();
        std::replace_if(
            name.begin(), name.end(), [](char c) { return std::isalnum(c) == 0; }, '_');
        return name;
    });
