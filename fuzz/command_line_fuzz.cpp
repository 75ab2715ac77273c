// A command line is refused with a message, or its figures are within their bounds. The lines are
// the arguments.

#include "app/command_line.h"
#include "fuzz/expect.h"
#include "tests/reference/text.h"

using fuzz::expect;

namespace {

void expectBounds(app::CommandLine const& line)
{
    using namespace std::chrono_literals;
    expect(line.toolLimit >= 100ms && line.toolLimit <= 24h);
    expect(line.traceLevel <= 5);
    expect(!line.watchInterval || (*line.watchInterval >= 100ms && *line.watchInterval <= 24h));
    expect(!line.outputFile || !line.outputFile->empty());
    expect(!line.recording || !line.recording->file.empty());
    expect(!line.text || !line.text->empty());
}

}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    auto const lines = reference::lines({reinterpret_cast<char const*>(data), size});
    std::vector<char const*> arguments{"dovrel-sysinfo"};
    for (std::string const& line : lines)
        arguments.push_back(line.c_str());
    try {
        expectBounds(app::readCommandLine(static_cast<int>(arguments.size()), arguments.data()));
    } catch (app::UsageError const& error) {
        expect(*error.what() != '\0');
    }
    return 0;
}
