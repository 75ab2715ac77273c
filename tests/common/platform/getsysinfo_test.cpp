#include "common/platform/getsysinfo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(Getsysinfo, failsWithAllOutputsCleared)
{
    // One byte more than the routine may write, to see that it does not.
    char texts[3][GETSYSINFO_TEXT_SIZE + 1];
    std::memset(texts, '#', sizeof texts);
    int code = 77;
    EXPECT_NE(getsysinfo(texts[0], texts[1], texts[2], &code), 0);
    EXPECT_EQ(code, 0);
    for (auto const& text : texts) {
        EXPECT_EQ(std::string(text, GETSYSINFO_TEXT_SIZE), std::string(GETSYSINFO_TEXT_SIZE, '\0'));
        EXPECT_EQ(text[GETSYSINFO_TEXT_SIZE], '#');
    }
}

}
