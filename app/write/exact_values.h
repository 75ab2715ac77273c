#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

/** Facts as programs read them, in the units and the words of JSON, the metrics and the page's
 * attributes. */
namespace app {

inline constexpr uint64_t MEGA = 1'000'000;
inline constexpr uint64_t MIB = 1'048'576;

/** @return a local time with its zone, "2026-03-24T14:05:09+01:00" as in RFC 3339; nothing for
 * years of more than four digits, which it does not have. */
std::optional<std::string> timestamp(std::optional<int64_t> seconds);

/** @return a percentage as a ratio in steps of 0.0001; further digits are noise. */
std::optional<double> ratioOf(std::optional<double> percent);

/** @return a number of units of @p factor as a number of units. */
std::optional<uint64_t> times(uint64_t factor, std::optional<uint64_t> number);

/** @return a word of a fixed list in the documents' spelling, "no_carrier" for "no carrier";
 * nothing for "unknown". */
std::optional<std::string> wordOf(std::optional<std::string> const& text);

/** @return nothing for an empty string. */
std::optional<std::string> nonEmpty(std::string const& text);

/** The words for the phases of a recovery, in the order of `RecoveryPhase`. */
inline constexpr std::array PHASE_WORDS = {"idle", "early", "restoring", "final_sync", "later"};

/** @return a memory module's speed, "3200 MT/s". Earlier versions of dmidecode(8) wrote the same
 * figure as "3200 MHz (0.3 ns)". */
std::optional<uint64_t> transfersPerSecond(std::optional<std::string> const& speed);

}
