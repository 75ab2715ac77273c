#include "app/sampling_options.h"

#include "app/Session.h"

#include <CLI/CLI.hpp>

#include <charconv>

namespace app {

void addSamplingOptions(CLI::App& options, Settings& settings)
{
    options
        .add_option_function<std::string>(
            "--max-wait",
            [&settings](std::string const& text) {
                auto const wait = parseSeconds(text);
                if (!wait)
                    throw CLI::ValidationError(
                        "--max-wait", "'" + text + "' is no number of seconds from 1 to 86400");
                settings.maxWait = *wait;
            },
            "Wait so long at most for processors' loads (5);\n"
            "an idle processor may take 101 seconds to answer")
        ->type_name("SECONDS")
        ->group("Load");
    options
        .add_flag_callback(
            "--no-usage", [&settings] { settings.sampleUsage = false; },
            "Do not sample loads, which takes a second at least")
        ->group("Load");
}

std::optional<std::chrono::steady_clock::duration> parseSeconds(
    std::string const& text, double shortest)
{
    constexpr double LONGEST = 86400;
    double seconds = 0;
    char const* const end = text.data() + text.size();
    auto const read = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
    // Written so that not-a-number, which from_chars reads too, is refused.
    if (read.ec != std::errc() || read.ptr != end || !(seconds >= shortest && seconds <= LONGEST))
        return std::nullopt;
    return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(seconds));
}

}
