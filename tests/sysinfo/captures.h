#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace testkit {

/** A text recorded on a real machine, or one of tests/recorded/. */
struct CaptureSource {
    std::string path; // On the fake machine.
    std::map<std::string, std::string> facts; // From the collection's index; else empty.
};

bool endsWith(std::string const& text, std::string const& end);

/** @return all texts of one tool whose names end in @p end: those of tests/recorded/ and, where
 * there is a collection, those of it. Each of the two must have some. */
std::vector<CaptureSource> sourcesOf(std::string const& tool, std::string const& end);

/** Expects the value that the index has for this text. Does nothing for one of tests/recorded/. */
void expectFact(CaptureSource const& source, char const* name, uint64_t value);

/** Prints once that there is no collection. */
class Captures : public testing::Test {
protected:
    static void SetUpTestSuite();
};

}
