#include "app/write/ColumnTable.h"

namespace app {

namespace {

struct ProcessorRow : RowContext {
    Processor const& processor;
};

constexpr ColumnOf<ProcessorRow> PROCESSOR_COLUMNS[] = {
    {"CPU", "the kernel's number", RIGHT, ALWAYS,
        [](ProcessorRow const& row) { return std::to_string(row.processor.number); }},
    {"SOCKET", "the package that it is in", RIGHT, 0,
        [](ProcessorRow const& row) { return numberText(row.processor.socket); }},
    {"CORE", "the core's number within the socket", RIGHT, 0,
        [](ProcessorRow const& row) { return numberText(row.processor.core); }},
    {"NODE", "the NUMA node", RIGHT, 0,
        [](ProcessorRow const& row) { return numberText(row.processor.node); }},
    {"MIN-MHZ", "the lowest clock speed", RIGHT, 20,
        [](ProcessorRow const& row) { return numberText(row.processor.lowestMHz); }},
    {"MHZ", "the present clock speed", RIGHT, 60,
        [](ProcessorRow const& row) { return numberText(row.processor.currentMHz); }},
    {"MAX-MHZ", "the highest clock speed", RIGHT, 50,
        [](ProcessorRow const& row) { return numberText(row.processor.highestMHz); }},
    {"LOAD", "the share of busy time in one second", RIGHT, 100,
        [](ProcessorRow const& row) { return percentText(row.processor.loadPercent); }},
    {"", "", LEFT, 10,
        [](ProcessorRow const& row) {
            return row.isTerminal ? barText(row.processor.loadPercent) : "";
        }},
    {"NOTE", "the numbers of notes", LEFT, 90, [](ProcessorRow const& row) { return row.marks; }},
};

class ProcessorTable : public ColumnTable<ProcessorRow> {
public:
    ProcessorTable() : ColumnTable(PROCESSOR_COLUMNS) { }

    std::string details(TableRequest const& request) const override
    {
        Processors const& processors = *request.machine.processors;
        FactList details("PROCESSORS", std::to_string(processors.list.size()));
        details.add("Model", knownText(processors.model));
        details.add("Sockets", numberText(processors.sockets));
        details.add("Cores", numberText(processors.cores));
        details.add("NUMA nodes", numberText(processors.nodes));
        if (processors.loadsMeasured)
            details.add("Load of all", percentText(processors.loadPercent));
        return details.text(request.options.layout);
    }

private:
    std::vector<ProcessorRow> rows(TableRequest const& request) const override
    {
        std::vector<ProcessorRow> list;
        for (Processor const& processor : request.machine.processors->list)
            list.push_back(
                {request.row(Subject::PROCESSORS, std::to_string(processor.number)), processor});
        return list;
    }
};

}

SubjectTable const& processorTable()
{
    static ProcessorTable const table;
    return table;
}

}
