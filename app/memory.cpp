#include "app/memory.h"

#include "app/Session.h"
#include "app/Table.h"
#include "app/display.h"
#include "app/json_text.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace app {

namespace {

/** Whose figure the total is. */
enum TotalSource { SOURCE_KERNEL, SOURCE_MODULES };

/** What is known, in bytes. */
struct Memory {
    std::optional<uint64_t> total;
    std::optional<uint64_t> free;
    std::optional<TotalSource> source;

    bool nothingKnown() const { return !total && !free; }

    /** Unknown too where more is free than there is, as when the figures are of two moments. */
    std::optional<uint64_t> used() const
    {
        return total && free && *free <= *total ? std::optional(*total - *free) : std::nullopt;
    }

    std::optional<float> percentOfTotal(std::optional<uint64_t> part) const
    {
        if (!total || !part || *part > *total)
            return std::nullopt;
        return static_cast<float>(100.0 * static_cast<double>(*part) / static_cast<double>(*total));
    }
};

/** More KiB than a 64-bit number of bytes can hold is no size of a memory. */
constexpr uint64_t LARGEST_KIB = std::numeric_limits<uint64_t>::max() / 1024;

/** What an output holds that the library has left alone. A total has 0 instead: the library raises
 * it to what the modules have. */
constexpr uint64_t UNTOUCHED = std::numeric_limits<uint64_t>::max();

std::optional<uint64_t> bytes(uint64_t kib)
{
    return kib > LARGEST_KIB ? std::nullopt : std::optional(kib * 1024);
}

/** @return the number that the latest message has behind @p beginning. */
std::optional<uint64_t> tracedFigure(
    std::vector<TraceMessage> const& messages, std::string const& beginning)
{
    std::optional<uint64_t> figure;
    for (TraceMessage const& message : messages) {
        if (!message.text.starts_with(beginning))
            continue;
        char const* const end = message.text.data() + message.text.size();
        uint64_t number = 0;
        auto const [behind, error] =
            std::from_chars(message.text.data() + beginning.size(), end, number);
        if (error == std::errc() && behind == end)
            figure = number;
    }
    return figure;
}

/** The query does not tell whose figure it gives, but its trace names both. */
std::optional<TotalSource> sourceOf(uint64_t totalKiB, std::vector<TraceMessage> const& messages)
{
    if (tracedFigure(messages, "Total Memory: ") == totalKiB)
        return SOURCE_KERNEL;
    if (tracedFigure(messages, "dmidecode ran successfully, found: ") == totalKiB)
        return SOURCE_MODULES;
    return std::nullopt;
}

/** @return false, with the user told, where not all could be read; @p memory has what could be. */
bool readMemory(Session& session, Memory& memory)
{
    constexpr unsigned LEVEL_OF_THE_MODULES = 4;
    uint64_t totalKiB = 0;
    uint64_t freeKiB = UNTOUCHED;
    auto const trace = session.record(LEVEL_OF_THE_MODULES);
    bool const complete = session.query(
        "the memory", [&] { return session.service().getMemoryInfo(totalKiB, freeKiB); },
        "the kernel does not tell both total and free");
    memory.free = bytes(freeKiB);
    // No machine has none.
    memory.total = totalKiB == 0 ? std::nullopt : bytes(totalKiB);
    if (memory.total)
        memory.source = sourceOf(totalKiB, trace.messages());
    return complete;
}

std::string sourceText(std::optional<TotalSource> source)
{
    if (!source)
        return "";
    return *source == SOURCE_KERNEL ? "as the kernel counts" : "of the installed modules";
}

std::string asTable(Memory const& memory)
{
    auto const used = memory.used();
    auto const usedPercent = memory.percentOfTotal(used);
    Table table;
    table.addColumn("Memory", Table::LEFT);
    table.addColumn("Size", Table::RIGHT);
    table.addColumn("Share", Table::RIGHT);
    table.addColumn("", Table::LEFT);
    table.addRow({"Total", sizeText(memory.total), "", sourceText(memory.source)});
    table.addRow({"Free", sizeText(memory.free), percentText(memory.percentOfTotal(memory.free))});
    table.addRow({"Used", sizeText(used), percentText(usedPercent), barText(usedPercent)});
    return table.text();
}

Json asJson(Memory const& memory)
{
    Json source = nullptr;
    if (memory.source)
        source = *memory.source == SOURCE_KERNEL ? "kernel" : "modules";
    return {{"total_bytes", jsonValue(memory.total)}, {"free_bytes", jsonValue(memory.free)},
        {"total_source", std::move(source)}};
}

std::string totalAndFree(Memory const& memory)
{
    std::string const source = sourceText(memory.source);
    std::string text = memory.total ? sizeText(memory.total) : "total unknown";
    if (!source.empty())
        text += " " + source;
    return text + ", " + (memory.free ? sizeText(memory.free) + " free" : "free unknown");
}

class MemoryCommand : public Command {
public:
    std::string name() const override { return "memory"; }

    std::string description() const override
    {
        return "Memory: how much there is, and how much of it is free";
    }

    void addOptions(CLI::App&, Settings&) override { }

    ExitStatus run(Session& session) override
    {
        Memory memory;
        bool const complete = readMemory(session, memory);
        if (complete || !memory.nothingKnown())
            session.print(
                session.settings().json ? jsonText({{"memory", asJson(memory)}}) : asTable(memory));
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    ExitStatus summarize(Session& session, std::vector<SummaryLine>& lines) override
    {
        Memory memory;
        bool const complete = readMemory(session, memory);
        if (!complete && memory.nothingKnown()) {
            lines.push_back({"Memory", "could not be read"});
            return EXIT_STATUS_QUERY_FAILED;
        }
        lines.push_back({"Memory", totalAndFree(memory)});
        if (auto const percent = memory.percentOfTotal(memory.used()))
            lines.push_back({"", "used " + percentText(percent) + "  " + barText(percent)});
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }

    ExitStatus summarize(Session& session, Json& document) override
    {
        Memory memory;
        bool const complete = readMemory(session, memory);
        document["memory"] = complete || !memory.nothingKnown() ? asJson(memory) : Json(nullptr);
        return complete ? EXIT_STATUS_OK : EXIT_STATUS_QUERY_FAILED;
    }
};

}

std::unique_ptr<Command> makeMemoryCommand()
{
    return std::make_unique<MemoryCommand>();
}

}
