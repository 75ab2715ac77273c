#include "app/write/table.h"

#include "app/write/ColumnTable.h"
#include "app/write/display.h"
#include "app/write/names.h"
#include "app/write/notes.h"
#include "app/write/recovery_line.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace app {

namespace {

/** Writes the tables of one machine. */
class TableWriter {
public:
    TableWriter(Machine const& machine, TableOptions const& options, std::ostream& out)
        : m_machine(machine), m_options(options), m_notes(machine),
          m_request({machine, options, m_notes}), m_out(out)
    {
    }

    void write()
    {
        if (m_machine.system)
            begin(Subject::SYSTEM, textOf(*m_machine.system));
        if (m_machine.processors)
            write(Subject::PROCESSORS);
        if (m_machine.memory)
            writeMemory(*m_machine.memory);
        if (m_machine.disks && m_machine.wasAskedFor(Subject::DISKS))
            write(Subject::DISKS);
        bool const forDisks = m_machine.wasAskedFor(Subject::DISKS) && showsMountPoints(m_options);
        if (m_machine.mounts && !forDisks)
            write(Subject::MOUNTS);
        if (m_machine.networks)
            write(Subject::NETWORKS);
        if (m_machine.wasAskedFor(Subject::RECOVERY))
            writeRecovery();
    }

private:
    void write(Subject subject)
    {
        SubjectTable const& table = *subjectTable(subject);
        begin(subject, table.table(m_request).text(m_options.layout), table.details(m_request));
    }

    /** Writes a table and its notes. @param details the lines between the two. */
    void begin(Subject subject, std::string const& table, std::string const& details = "")
    {
        if (!m_first)
            m_out << '\n';
        m_first = false;
        m_out << table;
        if (!m_options.layout.headings)
            return;
        if (!details.empty())
            m_out << '\n' << details;
        std::ostringstream notes;
        m_notes.write(subject, m_options.layout, notes);
        if (!notes.str().empty())
            m_out << '\n' << notes.str();
    }

    std::string textOf(System const& system) const
    {
        FactList table("SYSTEM");
        table.add("Host name", knownText(system.hostName));
        table.add("Vendor", knownText(system.vendor));
        table.add("Product", knownText(system.product));
        table.add("Version", knownText(system.version));
        table.add("Virtual machine", knownText(system.virtualMachine));
        table.add("Container", knownText(system.container));
        table.add("Operating system", knownText(system.osName));
        table.add("Kernel", knownText(system.kernel));
        table.add("Architecture", knownText(system.architecture));
        table.add("Firmware", firmwareText(system));
        table.add("Booted", timeText(system.bootTime));
        table.add("Uptime", uptimeText(system.uptimeSeconds));
        return table.text(m_options.layout);
    }

    static std::string firmwareText(System const& system)
    {
        std::string text;
        for (auto const& part :
            {system.firmwareVendor, system.firmwareVersion, system.firmwareDate})
            if (part)
                text += (text.empty() ? "" : " ") + *part;
        return text.empty() ? UNKNOWN : text;
    }

    void writeMemory(Memory const& memory)
    {
        TextTable table({{"MEMORY"}, {"SIZE", RIGHT}, {"SHARE", RIGHT, 50}, {"", LEFT, 10}});
        auto const add = [&](char const* name, std::optional<uint64_t> size,
                             std::optional<uint64_t> whole, bool bar) {
            auto const percent = percentOf(size, whole);
            table.addRow({name, sizeText(size, m_request.unit()), whole ? percentText(percent) : "",
                bar && m_options.layout.isTerminal() ? barText(percent) : ""});
        };
        add("Total", memory.total, std::nullopt, false);
        add("Used", memory.used(), memory.total, true);
        add("Available", memory.available, memory.total, false);
        add("Free", memory.free, memory.total, false);
        add("Buffers", memory.buffers, memory.total, false);
        add("Caches", memory.caches, memory.total, false);
        if (memory.swapTotal == 0U) {
            table.addRow({"Swap", "none"});
        } else {
            add("Swap", memory.swapTotal, std::nullopt, false);
            add("Swap used", memory.swapUsed(), memory.swapTotal, true);
        }
        TextTable modules({{"MODULE"}, {"SIZE", RIGHT}, {"TYPE", LEFT, 50}, {"SPEED", LEFT, 40}});
        if (memory.modules)
            for (MemoryModule const& module : *memory.modules)
                modules.addRow({module.slot,
                    module.bytes == 0U ? "empty" : sizeText(module.bytes, m_request.unit()),
                    module.bytes == 0U ? "" : knownText(module.type),
                    module.bytes == 0U ? "" : knownText(module.speed)});
        begin(Subject::MEMORY, table.text(m_options.layout),
            modules.isEmpty() ? "" : modules.text(m_options.layout));
    }

    void writeRecovery()
    {
        if (!m_machine.recovery) {
            if (!m_machine.hasProblem(Subject::RECOVERY))
                writeLines(NO_RECOVERY);
            return;
        }
        Recovery const& recovery = *m_machine.recovery;
        std::string progress = wholePercentText(recovery.percent);
        if (recovery.percent && m_options.layout.isTerminal())
            progress += "  " + barText(*recovery.percent);
        if (auto const ofBytes = percentOfMegabytes(recovery))
            progress += "  (" + *ofBytes + " of the MB)";
        auto const doneOfTotal = [](auto done, auto total) {
            return numberText(done) + " of " + numberText(total);
        };
        FactList table("RECOVERY");
        table.add("State", stateText(recovery, m_machine.time));
        table.add("Progress", progress);
        table.add("Files", doneOfTotal(recovery.filesDone, recovery.filesTotal));
        table.add("MB", doneOfTotal(recovery.megabytesDone, recovery.megabytesTotal));
        table.add("Rate",
            recovery.megabytesPerSecond ? numberText(recovery.megabytesPerSecond) + " MB/s"
                                        : UNKNOWN);
        table.add("Recovery started", timeText(recovery.recoverStart));
        table.add("Recovery ended", timeText(recovery.recoverEnd));
        table.add("Restore started", timeText(recovery.restoreStart));
        table.add("Restore ended", timeText(recovery.restoreEnd));
        begin(Subject::RECOVERY, table.text(m_options.layout));
        if (recovery.hasEnded(m_machine.time))
            writeLines(recoveryOutcome(recovery, m_machine.time));
    }

    /** Writes a sentence as a separate block. */
    void writeLines(std::string const& text)
    {
        if (!m_first)
            m_out << '\n';
        m_first = false;
        for (std::string const& line : wrapped(text, m_options.layout, 0, 0))
            m_out << line << '\n';
    }

    Machine const& m_machine;
    TableOptions const& m_options;
    Notes const m_notes;
    TableRequest const m_request;
    std::ostream& m_out;
    bool m_first = true;
};

}

SubjectTable const* subjectTable(Subject subject)
{
    switch (subject) {
    case Subject::PROCESSORS:
        return &processorTable();
    case Subject::DISKS:
        return &diskTable();
    case Subject::MOUNTS:
        return &mountTable();
    case Subject::NETWORKS:
        return &networkTable();
    case Subject::SYSTEM:
    case Subject::MEMORY:
    case Subject::RECOVERY:
        break;
    }
    return nullptr;
}

void writeTables(Machine const& machine, TableOptions const& options, std::ostream& out)
{
    TableWriter(machine, options, out).write();
}

bool showsMountPoints(TableOptions const& options)
{
    std::vector<std::string> const names = columnNames(options.columns);
    return options.diskTree || std::count(names.begin(), names.end(), "MOUNTPOINTS") > 0;
}

void checkColumns(Subjects const& subjects, std::string const& columns)
{
    for (Subject const subject : subjects)
        if (SubjectTable const* const table = subjectTable(subject))
            return table->check(columns);
}

void writeColumns(Subject subject, Layout const& layout, std::ostream& out)
{
    if (SubjectTable const* const table = subjectTable(subject))
        out << table->columns().text(layout);
}

}
