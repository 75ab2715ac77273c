#include "tests/sysinfo/captures.h"

#include "tests/support/Machine.h"
#include "tests/sysinfo/second_reader.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace testkit {

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
    EXPECT_FALSE(sources.empty()) << "nothing recorded of " << tool;
    if (!std::getenv("DOVREL_CAPTURES"))
        return sources;

    size_t const recorded = sources.size();
    for (Capture const& capture : readIndex(contentsOf("/testkit/captures/INDEX.tsv")))
        if (capture.tool == tool && endsWith(capture.path, end))
            sources.push_back({"/testkit/captures/" + capture.path, capture.facts});
    EXPECT_GT(sources.size(), recorded) << "the collection has nothing of " << tool;
    return sources;
}

void expectFact(CaptureSource const& source, char const* name, uint64_t value)
{
    if (source.facts.empty())
        return;
    auto const fact = source.facts.find(name);
    ASSERT_NE(fact, source.facts.end()) << "the index does not tell " << name;
    EXPECT_EQ(fact->second, std::to_string(value)) << name;
}

void Captures::SetUpTestSuite()
{
    if (!std::getenv("DOVREL_CAPTURES"))
        std::puts("DOVREL_CAPTURES is not set: running on tests/recorded/ alone.");
}

}
