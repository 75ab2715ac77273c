#pragma once

#include <optional>
#include <ostream>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace app {

/** The labels of a sample: names and texts. A label without a text is left out, as monitoring
 * systems do not distinguish an empty label from a missing one. */
using Labels = std::vector<std::pair<char const*, std::optional<std::string>>>;

/**
 * Writes metrics in the text format of OpenMetrics 1.0 that the older format of Prometheus, version
 * 0.0.4, shares: https://prometheus.io/docs/specs/om/open_metrics_spec/.
 *
 * Every family is of the type gauge. Readers of the older format, as the textfile collector of the
 * node exporter, refuse a file with a type that they do not know: `info`, `stateset`, `unknown`.
 */
class Exposition {
public:
    explicit Exposition(std::ostream& out) : m_out(out) { }

    /** Begins a family; nothing is written until its first sample. The end of the name is the
     * unit where it is one. */
    void family(char const* name, char const* help);

    /** Writes a sample. A missing value is left out, and so is a second sample with the same
     * labels, which readers refuse. */
    template <class Number> void sample(Labels const& labels, std::optional<Number> value)
    {
        if constexpr (std::is_floating_point_v<Number>)
            writeFraction(labels, value);
        else if (value)
            write(labels, std::to_string(*value));
    }

    /** Writes the end, without which the text counts as cut short. */
    void end();

private:
    void writeFraction(Labels const& labels, std::optional<double> value);
    void write(Labels const& labels, std::string const& value);

    std::ostream& m_out;
    std::string m_name;
    std::string m_help;
    std::set<std::string> m_written; ///< The label sets of the family.
};

}
