#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace CLI {
class App;
}

namespace app {

struct Settings;

/** Adds --max-wait and --no-usage. */
void addSamplingOptions(CLI::App& options, Settings& settings);

/**
 * Reads a number of seconds from @p shortest to 86400, with a decimal point in every locale.
 *
 * @return nothing where the text is anything else.
 */
std::optional<std::chrono::steady_clock::duration> parseSeconds(
    std::string const& text, double shortest = 1);

}
