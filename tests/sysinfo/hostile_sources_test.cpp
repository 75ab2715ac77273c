// Sources that never end, block, break off or change: no query takes the host's memory, and none is
// held longer than documented.

#include "tests/sysinfo/HostileRun.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ostream>

using testkit::HostileCase;
using testkit::HostileRun;

namespace {

/** For tools/hostile, which prints a table of all cases. */
bool const isWholeTable = std::getenv("DOVREL_HOSTILE_TABLE") != nullptr;

#ifdef __SANITIZE_ADDRESS__
constexpr unsigned MOST_MEBIBYTES = 2000; // It keeps freed blocks for a while.
#else
constexpr unsigned MOST_MEBIBYTES = 500;
#endif

std::string nameOf(testing::TestParamInfo<HostileCase> const& info)
{
    std::string name = info.param.query + '_' + info.param.source + '_' + info.param.hostility;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
}

class HostileSource : public testing::TestWithParam<HostileCase> { };

}

namespace testkit {

void PrintTo(HostileCase const& hostile, std::ostream* out)
{
    *out << hostile.query << ", " << hostile.source << ": " << hostile.hostility;
}

}

TEST_P(HostileSource, holdsNoQueryLongerThanDocumentedNorTakesTheMemory)
{
    HostileCase const& hostile = GetParam();
    bool const isHeld = hostile.result == testkit::HELD;
    HostileRun const run = testkit::run(hostile);
    if (isWholeTable)
        std::printf("| %s | %s | %s | %s | %.1f | %u | %u |\n", hostile.query.c_str(),
            hostile.source.c_str(), hostile.hostility.c_str(), run.result.c_str(), run.seconds,
            run.mebibytes, run.toolMebibytes);
    EXPECT_EQ(run.result, hostile.result);
    EXPECT_LE(run.mebibytes, MOST_MEBIBYTES);
    EXPECT_FALSE(run.leftDescriptor);
    EXPECT_EQ(run.leftChild, hostile.leavesTool);
    EXPECT_EQ(run.nextResult, isHeld ? "" : testkit::GOOD_RESULTS.at(hostile.query));
}

INSTANTIATE_TEST_SUITE_P(
    Sources, HostileSource, testing::ValuesIn(testkit::hostileCases(isWholeTable)), nameOf);
