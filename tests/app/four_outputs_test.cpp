// One machine of the model in the four outputs. The recorded machines are compared in
// tables_machines_test.cpp (table and JSON), openmetrics_machines_test.cpp (metrics and JSON) and
// tests/machines/machines_test.cpp (page and JSON).

#include "app/write/html.h"
#include "app/write/openmetrics.h"
#include "tests/app/MetricsText.h"
#include "tests/app/known_machine.h"
#include "tests/page/Page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

using app::Machine;
using app::Subject;

namespace {

template <class Write> std::string writtenBy(Write write, Machine const& machine)
{
    std::ostringstream out;
    write(machine, out);
    return out.str();
}

/** A figure of the model, and its place in each output. */
struct Figure {
    uint64_t bytes;
    std::string metric;
    std::string labelValue; ///< Of the sample's label for the item; empty where it has none.
    std::string key; ///< In JSON, "/disks/0/size_bytes".
    std::string row; ///< Of a table, as it begins.
};

/** @return the values of a metric's samples, of those with the label's value. */
std::vector<double> samplesOf(app_test::MetricsText const& metrics, Figure const& figure)
{
    std::vector<double> values;
    for (auto const& sample : metrics.families().at(figure.metric).samples) {
        bool has = figure.labelValue.empty();
        for (auto const& [label, value] : sample.labels)
            has = has || value == figure.labelValue;
        if (has)
            values.push_back(sample.value);
    }
    return values;
}

/** @return the exact value that the page has for a key of JSON. */
std::string valueOnPage(page::Page const& document, std::string key)
{
    key.erase(0, 1);
    std::replace(key.begin(), key.end(), '/', '.');
    for (page::Element const* const element : document.all("data"))
        if (element->attribute("data-key") == key)
            return element->attribute("value");
    return "missing";
}

}

TEST(FourOutputs, haveTheFiguresOfTheModel)
{
    Machine const machine =
        app_test::knownMachine({Subject::MEMORY, Subject::DISKS, Subject::MOUNTS});
    Figure const figures[] = {
        {machine.memory->total.value(), "dovrel_memory_total_bytes", "", "/memory/total_bytes",
            "Total"},
        {machine.memory->used().value(), "dovrel_memory_used_bytes", "", "/memory/used_bytes",
            "Used"},
        {machine.disks->at(0).bytes.value(), "dovrel_disk_size_bytes", "sda", "/disks/0/size_bytes",
            "sda "},
        {machine.mounts->at(0).used.value(), "dovrel_filesystem_used_bytes", "/",
            "/mounts/0/used_bytes", "/ "},
    };
    app::TableOptions options;
    options.bytes = true;
    auto const lines = app_test::tablesOf(machine, options);
    auto const document = app_test::jsonOf(machine);
    app_test::MetricsText const metrics(writtenBy(app::writeOpenMetrics, machine));
    page::Page const page(writtenBy(app::writeHtml, machine));

    for (Figure const& figure : figures) {
        SCOPED_TRACE(figure.key);
        std::string const text = std::to_string(figure.bytes);
        EXPECT_THAT(lines,
            testing::Contains(
                testing::AllOf(testing::StartsWith(figure.row), testing::HasSubstr(" " + text))));
        EXPECT_EQ(document.atPointer(figure.key), figure.bytes);
        EXPECT_EQ(samplesOf(metrics, figure), std::vector{static_cast<double>(figure.bytes)});
        EXPECT_EQ(valueOnPage(page, figure.key), text);
    }
}
