#include "tests/sysinfo/captures.h"

#include "tests/reference/text.h"
#include "tests/support/Machine.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace testkit {

namespace {

/** One file of the collection. */
struct Capture {
    std::string path;
    std::string tool;
    std::map<std::string, std::string> facts;
};

/** Reads the collection's index: columns between tabs, with their names in the first line. */
std::vector<Capture> readIndex(std::string const& text)
{
    std::vector<Capture> captures;
    std::vector<std::string> names;
    for (std::string const& line : reference::lines(text)) {
        std::vector<std::string> const cells = reference::split(line, "\t");
        if (names.empty()) {
            names = cells;
            continue;
        }
        Capture capture;
        for (size_t i = 0; i < std::min(cells.size(), names.size()); ++i) {
            if (names[i] == "path")
                capture.path = cells[i];
            else if (names[i] == "tool")
                capture.tool = cells[i];
            else if (names[i] == "expected_facts")
                for (std::string const& fact : reference::split(cells[i], ";"))
                    capture.facts[fact.substr(0, fact.find('='))] = fact.substr(fact.find('=') + 1);
        }
        captures.push_back(capture);
    }
    return captures;
}

}

bool endsWith(std::string const& text, std::string const& end)
{
    return text.size() >= end.size()
        && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::vector<CaptureSource> sourcesOf(std::string const& tool, std::string const& end)
{
    std::vector<CaptureSource> sources;
    for (auto const& entry : std::filesystem::directory_iterator("/testkit/recorded/" + tool))
        if (endsWith(entry.path(), end))
            sources.push_back({entry.path(), {}});
    EXPECT_FALSE(sources.empty()) << "tests/recorded/ has no text of " << tool;
    if (!std::getenv("DOVREL_CAPTURES"))
        return sources;

    size_t const recorded = sources.size();
    for (Capture const& capture : readIndex(contentsOf("/testkit/captures/INDEX.tsv")))
        if (capture.tool == tool && endsWith(capture.path, end))
            sources.push_back({"/testkit/captures/" + capture.path, capture.facts});
    EXPECT_GT(sources.size(), recorded) << "the collection has no text of " << tool;
    return sources;
}

void expectFact(CaptureSource const& source, char const* name, uint64_t value)
{
    if (source.facts.empty())
        return;
    auto const fact = source.facts.find(name);
    ASSERT_NE(fact, source.facts.end()) << "the index has no fact " << name;
    EXPECT_EQ(fact->second, std::to_string(value)) << name;
}

void Captures::SetUpTestSuite()
{
    if (!std::getenv("DOVREL_CAPTURES"))
        std::puts("DOVREL_CAPTURES is not set: running on tests/recorded/ alone.");
}

}
