#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace testkit {

/** A text of a real machine, or one of this project's own. */
struct CaptureSource {
    std::string path; // In the test's machine.
    std::map<std::string, std::string> facts; // The index's; none of a file of our own.
};

bool endsWith(std::string const& text, std::string const& end);

/** All texts of one tool whose names end in @p end: the recorded ones, and where there is a
 * collection those of it, which must have some. */
std::vector<CaptureSource> sourcesOf(std::string const& tool, std::string const& end);

/** Expects what the index says of the file; nothing where it is no file of the collection. */
void expectFact(CaptureSource const& source, char const* name, uint64_t value);

/** Says once where there is no collection. */
class Captures : public testing::Test {
protected:
    static void SetUpTestSuite();
};

}
