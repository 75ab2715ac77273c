#pragma once

#include <map>
#include <string>
#include <vector>

namespace app_test {

/** One sample of a family. */
struct MetricSample {
    std::map<std::string, std::string> labels; ///< Without the format's escapes.
    double value = 0;
};

/** A family of metrics as its lines describe it. */
struct MetricFamily {
    std::string type;
    std::string unit;
    std::string help;
    std::vector<MetricSample> samples;
};

/**
 * A strict reader of metrics. It takes only what both OpenMetrics 1.0 and the text format of
 * Prometheus, version 0.0.4, allow.
 */
class MetricsText {
public:
    /** @throws std::runtime_error that names the first wrong line and the rule. */
    explicit MetricsText(std::string const& text);

    std::map<std::string, MetricFamily> const& families() const { return m_families; }

    /** @return the families' names in the order of the text. */
    std::vector<std::string> const& names() const { return m_names; }

private:
    void readMetadata(std::string const& line);
    void readSample(std::string const& line);
    MetricFamily& current() { return m_families.at(m_names.back()); }
    void endFamily();

    std::map<std::string, MetricFamily> m_families;
    std::vector<std::string> m_names;
};

}
