#include "app/write/html_sections.h"

#include "app/write/display.h"
#include "app/write/exact_values.h"
#include "app/write/names.h"
#include "app/write/recovery_line.h"

#include <algorithm>
#include <sstream>

namespace app {

namespace {

/** A speed, of which JSON has a number where the firmware gives one. */
Fact speedFact(std::string const& key, MemoryModule const& module)
{
    Fact fact = textFact(key, module.speed);
    auto const transfers = transfersPerSecond(module.speed);
    fact.value = transfers ? std::optional(std::to_string(*transfers)) : std::nullopt;
    return fact;
}

void writeModules(PageContext const& page, std::vector<MemoryModule> const& modules)
{
    if (modules.empty())
        return;
    HtmlTable table(page.html, "Memory modules",
        {{"MODULE"}, {"SIZE", HtmlTable::NUMBER}, {"TYPE", HtmlTable::WORD},
            {"SPEED", HtmlTable::WORD}},
        "narrow");
    for (size_t i = 0; i < modules.size(); ++i) {
        MemoryModule const& module = modules[i];
        std::string const key = elementKey("memory.modules", i);
        Fact size = sizeFact(key + "size_bytes", module.bytes);
        if (module.bytes == 0U)
            size.text = "empty";
        std::vector<Cell> row = {textFact(key + "slot", module.slot), size};
        if (module.bytes != 0U) {
            row.emplace_back(textFact(key + "type", module.type));
            row.emplace_back(speedFact(key + "transfers_per_second", module));
        }
        table.addRow(row);
    }
}

/** Writes a table of the processors from @p first to before @p end. */
void writeProcessors(PageContext const& page, size_t first, size_t end)
{
    auto const& list = page.machine.processors->list;
    std::string const firstNumber = std::to_string(list[first].number);
    HtmlTable table(page.html,
        (end - first == 1
                ? "Processor " + firstNumber
                : "Processors " + firstNumber + " to " + std::to_string(list[end - 1].number))
            + ": speeds in MHz, the load of one second",
        {{"CPU", HtmlTable::NUMBER}, {"MIN-MHZ", HtmlTable::NUMBER}, {"MHZ", HtmlTable::NUMBER},
            {"MAX-MHZ", HtmlTable::NUMBER}, {"LOAD", HtmlTable::NUMBER}, {"NOTE", HtmlTable::WORD}},
        "narrow");
    for (size_t i = first; i < end; ++i) {
        Processor const& processor = list[i];
        std::string const key = elementKey("processors.list", i);
        Cell load = percentFact(key + "load_ratio", processor.loadPercent);
        load.bar = processor.loadPercent;
        table.addRow({numberFact(key + "number", std::optional(processor.number)),
            scaledFact(key + "lowest_hertz", MEGA, processor.lowestMHz),
            scaledFact(key + "current_hertz", MEGA, processor.currentMHz),
            scaledFact(key + "highest_hertz", MEGA, processor.highestMHz), load,
            noteLinks(page, Subject::PROCESSORS, std::to_string(processor.number))});
    }
}

/** "1 of 2", each with its value. */
Cell doneOfTotal(Fact const& done, Fact const& total)
{
    return Cell({{done, words(" of "), total}});
}

}

std::string sectionTitle(Subject subject)
{
    std::string title = keyOf(subject);
    title.front() = static_cast<char>(title.front() - 'a' + 'A');
    return title;
}

PageSection::PageSection(PageContext const& page, Subject subject)
    : m_page(page), m_subject(subject),
      m_section(page.html.open("section", {{"id", keyOf(subject)}})), m_content([&page, subject] {
          page.html.element("h2", sectionTitle(subject));
          return page.html.open("div", {{"class", "content"}});
      }())
{
}

PageSection::~PageSection()
{
    Html& html = m_page.html;
    auto const notes = m_page.notes.texts(m_subject);
    if (!notes.empty()) {
        auto const part = html.open("div", {{"class", "notes"}});
        html.element("p", "The library reports to its host:");
        auto const list = html.open("ol");
        for (size_t i = 0; i < notes.size(); ++i)
            html.element("li", notes[i],
                {{"id", std::string(keyOf(m_subject)) + "-note-" + std::to_string(i + 1)}});
    }
    auto const unknown = m_page.notes.unknownFacts(m_subject);
    if (unknown.empty())
        return;
    auto const part = html.open("div", {{"class", "notes"}});
    for (std::string const& sentence : unknown)
        html.element("p", sentence);
}

Cell noteLinks(PageContext const& page, Subject subject, std::string const& item)
{
    Cell cell;
    cell.notesOf = keyOf(subject);
    std::istringstream numbers(page.notes.marks(subject, item));
    for (std::string number; numbers >> number;)
        cell.notes.push_back(number);
    return cell;
}

void writeSentence(PageContext const& page, std::string const& text)
{
    page.html.element("p", text, {{"class", "sentence"}});
}

void writeSection(PageContext const& page, System const& system)
{
    HtmlFactList list(page.html);
    list.add("Host name", textFact("system.host_name", system.hostName));
    list.add("Vendor", textFact("system.vendor", system.vendor));
    list.add("Product", textFact("system.product", system.product));
    list.add("Version", textFact("system.version", system.version));
    list.add("Virtual machine", textFact("system.virtual_machine", system.virtualMachine));
    list.add("Container", textFact("system.container", system.container));
    list.add("Operating system", textFact("system.os", system.osName));
    list.add("Kernel", textFact("system.kernel", system.kernel));
    list.add("Architecture", textFact("system.architecture", system.architecture));
    Cell::Item firmware;
    auto const add = [&firmware](char const* key, std::optional<std::string> const& part) {
        if (!part)
            return;
        if (!firmware.empty())
            firmware.push_back(words(" "));
        firmware.push_back(textFact(std::string("system.firmware.") + key, part));
    };
    add("vendor", system.firmwareVendor);
    add("version", system.firmwareVersion);
    add("date", system.firmwareDate);
    list.add("Firmware",
        firmware.empty() ? Cell(textFact("system.firmware.version", std::nullopt))
                         : Cell({firmware}));
    list.add("Booted", timeFact("system.boot_time", system.bootTime));
    Fact uptime = numberFact("system.uptime_seconds", system.uptimeSeconds);
    uptime.text = uptimeText(system.uptimeSeconds);
    list.add("Uptime", uptime);
}

void writeSection(PageContext const& page, Processors const& processors)
{
    {
        HtmlFactList list(page.html);
        list.add(
            "Processors", numberFact("processors.count", std::optional(processors.list.size())));
        list.add("Model", textFact("processors.model", processors.model));
        list.add("Sockets", numberFact("processors.sockets", processors.sockets));
        list.add("Cores", numberFact("processors.cores", processors.cores));
        list.add("NUMA nodes", numberFact("processors.numa_nodes", processors.nodes));
        if (processors.loadsMeasured) {
            Cell load = percentFact("processors.load_ratio", processors.loadPercent);
            load.bar = processors.loadPercent;
            list.add("Load of all", load);
        }
    }
    // Two tables side by side where there is room.
    constexpr size_t MANY = 8;
    size_t const count = processors.list.size();
    size_t const half = count > MANY ? (count + 1) / 2 : count;
    auto const columns = page.html.open("div", {{"class", "columns"}});
    for (size_t first = 0; first < count; first += half)
        writeProcessors(page, first, std::min(first + half, count));
}

void writeSection(PageContext const& page, Memory const& memory)
{
    {
        HtmlTable table(page.html, "Memory and swap",
            {{"MEMORY"}, {"SIZE", HtmlTable::NUMBER}, {"SHARE", HtmlTable::NUMBER}}, "narrow");
        auto const add = [&table](char const* name, char const* key, std::optional<uint64_t> size,
                             std::optional<uint64_t> whole, bool bar) {
            auto const percent = percentOf(size, whole);
            Cell share;
            if (whole)
                share = Cell(words(percentText(percent)));
            if (bar)
                share.bar = percent;
            share.warns = true;
            table.addRow({words(name), sizeFact(std::string("memory.") + key, size), share});
        };
        add("Total", "total_bytes", memory.total, std::nullopt, false);
        add("Used", "used_bytes", memory.used(), memory.total, true);
        add("Available", "available_bytes", memory.available, memory.total, false);
        add("Free", "free_bytes", memory.free, memory.total, false);
        add("Buffers", "buffers_bytes", memory.buffers, memory.total, false);
        add("Caches", "caches_bytes", memory.caches, memory.total, false);
        if (memory.swapTotal == 0U) {
            Fact none = sizeFact("memory.swap_total_bytes", memory.swapTotal);
            none.text = "none";
            table.addRow({words("Swap"), none});
        } else {
            add("Swap", "swap_total_bytes", memory.swapTotal, std::nullopt, false);
            add("Swap used", "swap_used_bytes", memory.swapUsed(), memory.swapTotal, true);
        }
    }
    if (memory.modules)
        writeModules(page, *memory.modules);
}

void writeSection(PageContext const& page, Recovery const& recovery)
{
    HtmlFactList list(page.html);
    Fact state = numberFact("recovery.operation", std::optional(recovery.operation));
    state.text = stateText(recovery, page.machine.time);
    list.add("State", state);
    Cell progress(progressFact(recovery));
    progress.bar = recovery.percent;
    list.add("Progress", progress);
    list.add("Files",
        doneOfTotal(numberFact("recovery.files_done", recovery.filesDone),
            numberFact("recovery.files_total", recovery.filesTotal)));
    Cell megabytes = doneOfTotal(scaledFact("recovery.bytes_done", MIB, recovery.megabytesDone),
        scaledFact("recovery.bytes_total", MIB, recovery.megabytesTotal));
    megabytes.bar = percentOf(recovery.megabytesDone, recovery.megabytesTotal);
    if (auto const share = percentOfMegabytes(recovery))
        megabytes.items.front().push_back(words(" (" + *share + " of the MB)"));
    list.add("MB", megabytes);
    Fact rate = scaledFact("recovery.bytes_per_second", MIB, recovery.megabytesPerSecond);
    if (recovery.megabytesPerSecond)
        rate.text += " MB/s";
    list.add("Rate", rate);
    list.add("Recovery started", timeFact("recovery.recover_start", recovery.recoverStart));
    list.add("Recovery ended", timeFact("recovery.recover_end", recovery.recoverEnd));
    list.add("Restore started", timeFact("recovery.restore_start", recovery.restoreStart));
    list.add("Restore ended", timeFact("recovery.restore_end", recovery.restoreEnd));
    if (recovery.hasEnded(page.machine.time))
        list.add("Result", words(recoveryOutcome(recovery, page.machine.time)));
}

}
