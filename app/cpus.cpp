#include "app/cpus.h"

#include "app/ProgressLine.h"
#include "app/Session.h"
#include "app/Table.h"
#include "app/display.h"
#include "app/json_text.h"
#include "app/sampling.h"
#include "app/sampling_options.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <optional>

namespace app {

namespace {

/** What is known of one processor. */
struct Processor {
    std::optional<unsigned> currentMHz;
    std::optional<unsigned> maxMHz;
    std::optional<float> usagePercent;
};

/** The library's 0 MHz is its word for "the kernel does not tell". */
std::optional<unsigned> knownSpeed(unsigned mhz)
{
    return mhz == 0 ? std::nullopt : std::optional(mhz);
}

/** Samples the loads. @return false, with the user told, where one's figures could not be read. */
bool readLoads(Session& session, CpuRecords const& records, std::vector<Processor>& processors)
{
    constexpr unsigned FAILURES = 1;
    auto const trace = session.record(FAILURES);
    // A trace on the same terminal shows well enough that the program is alive.
    ProgressLine line(session.settings().traceLevel == 0);
    UsageSample const sample = sampleUsage(records, {session.settings().maxWait},
        [&line](size_t done, size_t total, std::chrono::steady_clock::duration elapsed) {
            line.show(done, total, elapsed);
        });
    if (sample.threadsLeftBehind)
        session.leaveThreadsBehind();
    bool const failed = !trace.messages().empty();
    for (size_t i = 0; i < processors.size(); ++i)
        // A load that cannot be read is 0 to the library.
        if (!failed || sample.percent[i] != 0.0F)
            processors[i].usagePercent = sample.percent[i];
    return session.query("the load of every processor", [failed] { return !failed; });
}

/** @param processors stays empty where they cannot be read.
 * @return with the user told, what could not be read. */
ExitStatus readProcessors(Session& session, std::optional<std::vector<Processor>>& processors)
{
    CpuRecords records;
    if (!session.query(
            "the processors", [&] { return session.service().getCPUsInternal(records); }))
        return EXIT_STATUS_QUERY_FAILED;
    processors.emplace();
    for (auto const& record : records)
        processors->push_back({knownSpeed(record->getCurrentSpeedInMHZ()),
            knownSpeed(record->getMaxSpeedInMHZ()), std::nullopt});
    bool const known = !session.settings().sampleUsage || readLoads(session, records, *processors);
    return known ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
}

std::string speedText(std::optional<unsigned> mhz)
{
    return mhz ? std::to_string(*mhz) : UNKNOWN;
}

size_t countUnknown(std::vector<Processor> const& processors)
{
    return static_cast<size_t>(std::count_if(processors.begin(), processors.end(),
        [](Processor const& processor) { return !processor.usagePercent; }));
}

std::string waitText(Settings const& settings)
{
    double const seconds = std::chrono::duration<double>(settings.maxWait).count();
    return (seconds == std::floor(seconds) ? std::to_string(std::lround(seconds))
                                           : oneDecimal(seconds))
        + " s";
}

std::string asTable(std::vector<Processor> const& processors, Settings const& settings)
{
    Table table;
    table.addColumn("CPU", Table::RIGHT);
    table.addColumn("MHz", Table::RIGHT);
    table.addColumn("Max MHz", Table::RIGHT);
    if (settings.sampleUsage) {
        table.addColumn("Load", Table::RIGHT);
        table.addColumn("", Table::LEFT);
    }
    for (size_t index = 0; index < processors.size(); ++index) {
        Processor const& processor = processors[index];
        std::vector<std::string> cells = {
            std::to_string(index), speedText(processor.currentMHz), speedText(processor.maxMHz)};
        if (settings.sampleUsage) {
            cells.push_back(percentText(processor.usagePercent));
            cells.push_back(barText(processor.usagePercent));
        }
        table.addRow(std::move(cells));
    }
    std::string text = table.text();
    if (settings.sampleUsage && countUnknown(processors) > 0)
        text += "\nLoad '-': no answer within " + waitText(settings)
            + ", or no figure. A processor that stays idle takes longer; see --max-wait.\n";
    return text;
}

/** To hundredths: a float's further digits are noise, and would be printed as such. */
std::optional<double> rounded(std::optional<float> percent)
{
    constexpr double STEPS = 100;
    if (!percent)
        return std::nullopt;
    return std::round(static_cast<double>(*percent) * STEPS) / STEPS;
}

Json asJson(std::vector<Processor> const& processors)
{
    Json list = Json::array();
    for (size_t index = 0; index < processors.size(); ++index)
        list.push_back({{"index", index}, {"current_mhz", jsonValue(processors[index].currentMHz)},
            {"max_mhz", jsonValue(processors[index].maxMHz)},
            {"usage_percent", jsonValue(rounded(processors[index].usagePercent))}});
    return list;
}

std::string countAndSpeed(std::vector<Processor> const& processors)
{
    std::optional<unsigned> fastest;
    for (Processor const& processor : processors)
        fastest = std::max(fastest, processor.maxMHz);
    return std::to_string(processors.size())
        + (fastest ? ", up to " + std::to_string(*fastest) + " MHz" : "");
}

std::string overallLoad(std::vector<Processor> const& processors, Settings const& settings)
{
    size_t const unknown = countUnknown(processors);
    size_t const known = processors.size() - unknown;
    if (known == 0)
        return "load unknown: no answer within " + waitText(settings) + ", as when all are idle";
    float sum = 0;
    for (Processor const& processor : processors)
        sum += processor.usagePercent.value_or(0.0F);
    float const average = sum / static_cast<float>(known);
    std::string text = "load " + percentText(average) + "  " + barText(average);
    if (unknown > 0)
        text += "  (" + std::to_string(known) + " of " + std::to_string(processors.size())
            + "; the others gave no answer within " + waitText(settings) + ")";
    return text;
}

class CpusCommand : public Command {
public:
    std::string name() const override { return "cpus"; }

    std::string description() const override
    {
        return "Processors: their present and highest speeds and their loads";
    }

    void addOptions(CLI::App& options, Settings& settings) override
    {
        addSamplingOptions(options, settings);
    }

    ExitStatus run(Session& session) override
    {
        std::optional<std::vector<Processor>> processors;
        ExitStatus const status = readProcessors(session, processors);
        Settings const& settings = session.settings();
        if (processors)
            session.print(settings.json ? jsonText({{"processors", asJson(*processors)}})
                                        : asTable(*processors, settings));
        return status;
    }

    ExitStatus summarize(Session& session, std::vector<SummaryLine>& lines) override
    {
        std::optional<std::vector<Processor>> processors;
        ExitStatus const status = readProcessors(session, processors);
        lines.push_back(
            {"Processors", processors ? countAndSpeed(*processors) : "could not be read"});
        if (session.settings().sampleUsage && processors && !processors->empty())
            lines.push_back({"", overallLoad(*processors, session.settings())});
        return status;
    }

    ExitStatus summarize(Session& session, Json& document) override
    {
        std::optional<std::vector<Processor>> processors;
        ExitStatus const status = readProcessors(session, processors);
        document["processors"] = processors ? asJson(*processors) : Json(nullptr);
        return status;
    }
};

}

std::unique_ptr<Command> makeCpusCommand()
{
    return std::make_unique<CpusCommand>();
}

}
