#include "app/write/html_glance.h"

#include "app/write/display.h"
#include "app/write/names.h"
#include "app/write/recovery_line.h"

#include <algorithm>

namespace app {

namespace {

/** A figure with its label, a bar and further words; closed with the object. */
class Figure {
public:
    Figure(Html& html, char const* label) : m_html(html), m_figure(html.open("div"))
    {
        html.element("dt", label);
    }

    void show(Cell const& value)
    {
        auto const element = m_html.open("dd", {{"class", "figure"}});
        writeCell(m_html, value);
    }

    void bar(std::optional<double> percent, bool warns)
    {
        if (!percent)
            return;
        auto const element = m_html.open("dd");
        writeBar(m_html, percent, warns);
    }

    void more(Cell const& value)
    {
        auto const element = m_html.open("dd", {{"class", "more"}});
        writeCell(m_html, value);
    }

private:
    Html& m_html;
    Html::Element m_figure;
};

class Glance {
public:
    explicit Glance(PageContext const& page) : m_machine(page.machine), m_html(page.html) { }

    void write()
    {
        auto const section = m_html.open("section", {{"id", "glance"}});
        m_html.element("h2", "At a glance");
        auto const list = m_html.open("dl", {{"class", "glance"}});
        showPart(Subject::SYSTEM, "Machine", m_machine.system);
        showPart(Subject::PROCESSORS, "Processors", m_machine.processors);
        showPart(Subject::MEMORY, "Memory", m_machine.memory);
        showPart(Subject::MOUNTS, "Fullest filesystem", m_machine.mounts);
        if (m_machine.system)
            showUptime(*m_machine.system);
        showPart(Subject::DISKS, "Disks", m_machine.disks);
        showPart(Subject::NETWORKS, "Network adapters", m_machine.networks);
        showPart(Subject::RECOVERY, "Recovery", m_machine.recovery);
    }

private:
    template <class Part>
    void showPart(Subject subject, char const* label, std::optional<Part> const& part)
    {
        if (!m_machine.wasAskedFor(subject))
            return;
        Figure figure(m_html, label);
        if (part)
            show(figure, *part);
        else
            figure.show(words(noItemsText(m_machine, subject)));
    }

    static void show(Figure& figure, System const& system)
    {
        std::vector<std::string> make;
        for (auto const& part : {system.vendor, system.product})
            if (part)
                make.push_back(*part);
        std::string text;
        for (std::string const& part : make)
            text += (text.empty() ? "" : " ") + part;
        figure.show(words(text.empty() ? "unknown make" : text));
        if (system.virtualMachine && *system.virtualMachine != "none")
            figure.more(Cell({{textFact("system.virtual_machine", system.virtualMachine),
                words(" virtual machine")}}));
        if (system.container && *system.container != "none")
            figure.more(
                Cell({{textFact("system.container", system.container), words(" container")}}));
        figure.more(Cell({{words("Linux "), textFact("system.kernel", system.kernel)}}));
    }

    static void show(Figure& figure, Processors const& processors)
    {
        figure.show(numberFact("processors.count", std::optional(processors.list.size())));
        if (processors.loadsMeasured) {
            figure.bar(processors.loadPercent, false);
            figure.more(Cell(
                {{words("load "), percentFact("processors.load_ratio", processors.loadPercent)}}));
        }
        figure.more(textFact("processors.model", processors.model));
    }

    static void show(Figure& figure, Memory const& memory)
    {
        auto const percent = percentOf(memory.used(), memory.total);
        figure.show(sizeFact("memory.total_bytes", memory.total));
        figure.bar(percent, true);
        figure.more(Cell({{words("used "), sizeFact("memory.used_bytes", memory.used()),
            words(percent ? " (" + percentText(percent) + ")" : "")}}));
        if (memory.swapTotal == 0U)
            figure.more(words("no swap"));
        else
            figure.more(
                Cell({{words("swap "), sizeFact("memory.swap_total_bytes", memory.swapTotal),
                    words(", used "), sizeFact("memory.swap_used_bytes", memory.swapUsed())}}));
    }

    /** The fullest filesystem that can become fuller. */
    void show(Figure& figure, std::vector<Mount> const& mounts) const
    {
        size_t fullest = mounts.size();
        for (size_t i = 0; i < mounts.size(); ++i)
            if (!mounts[i].readOnly && mounts[i].usedPercent()
                && (fullest == mounts.size()
                    || *mounts[i].usedPercent() > *mounts[fullest].usedPercent()))
                fullest = i;
        if (fullest == mounts.size()) {
            figure.show(words(mounts.empty() ? noItemsText(m_machine, Subject::MOUNTS) : UNKNOWN));
        } else {
            std::string const key = "mounts." + std::to_string(fullest) + ".";
            Mount const& mount = mounts[fullest];
            figure.show(percentFact(key + "used_ratio", mount.usedPercent()));
            figure.bar(mount.usedPercent(), true);
            figure.more(Cell({{textFact(key + "mount_point", mount.mountPoint), words(", "),
                sizeFact(key + "available_bytes", mount.available), words(" available")}}));
        }
        auto const filesystems = std::count_if(
            mounts.begin(), mounts.end(), [](Mount const& mount) { return mount.sameAs.empty(); });
        figure.more(words(
            counted(static_cast<size_t>(filesystems), "filesystem", "filesystems") + " mounted"));
    }

    void showUptime(System const& system) const
    {
        Figure figure(m_html, "Uptime");
        Fact uptime = numberFact("system.uptime_seconds", system.uptimeSeconds);
        uptime.text = uptimeText(system.uptimeSeconds);
        figure.show(uptime);
        figure.more(Cell({{words("booted "), timeFact("system.boot_time", system.bootTime)}}));
    }

    static void show(Figure& figure, std::vector<Disk> const& disks)
    {
        auto const count = [&disks](auto const& isOne) {
            return static_cast<size_t>(std::count_if(disks.begin(), disks.end(), isOne));
        };
        size_t const physical = count([](Disk const& disk) { return disk.isPhysical(); });
        size_t const partitions =
            count([](Disk const& disk) { return disk.type == Disk::PARTITION; });
        figure.show(words(std::to_string(physical)));
        figure.more(words(counted(partitions, "partition", "partitions") + ", "
            + counted(disks.size() - physical - partitions, "further device", "further devices")));
    }

    static void show(Figure& figure, Networks const& networks)
    {
        auto const& adapters = networks.adapters;
        figure.show(words(std::to_string(adapters.size())));
        auto const up = std::count_if(adapters.begin(), adapters.end(),
            [](Adapter const& adapter) { return adapter.state == "up"; });
        figure.more(words(std::to_string(up) + " up"));
        for (size_t i = 0; i < adapters.size(); ++i) {
            auto const& addresses = adapters[i].knownAddresses();
            for (size_t j = 0; j < addresses.size(); ++j)
                if (adapters[i].hasGateway() && addresses[j].scope == "global") {
                    std::string const key = "networks.adapters." + std::to_string(i) + ".";
                    figure.more(Cell({{textFact(key + "name", adapters[i].name), words(" "),
                        textFact(key + "addresses." + std::to_string(j) + ".address",
                            addresses[j].text)}}));
                    return;
                }
        }
    }

    void show(Figure& figure, Recovery const& recovery) const
    {
        figure.show(progressFact(recovery));
        figure.bar(recovery.percent, false);
        if (recovery.hasEnded(m_machine.time))
            return figure.more(words(recoveryOutcome(recovery, m_machine.time)));
        std::string const share = percentOfMegabytes(recovery).value_or("");
        figure.more(words(stateText(recovery, m_machine.time)
            + (share.empty() ? "" : ", " + share + " of the MB")));
    }

    Machine const& m_machine;
    Html& m_html;
};

/** Differences that are the same but for their items. */
struct DifferenceRow {
    Difference const* first;
    std::vector<std::string> items;
};

std::vector<DifferenceRow> differenceRows(std::vector<Difference> const& differences)
{
    std::vector<DifferenceRow> rows;
    for (Difference const& difference : differences) {
        auto const same = std::find_if(rows.begin(), rows.end(), [&](DifferenceRow const& row) {
            return row.first->subject == difference.subject && row.first->fact == difference.fact
                && row.first->reason == difference.reason
                && row.first->library == difference.library;
        });
        bool const isNew = same == rows.end();
        if (isNew)
            rows.push_back({&difference, {}});
        DifferenceRow& row = isNew ? rows.back() : *same;
        if (!difference.item.empty())
            row.items.push_back(difference.item);
    }
    return rows;
}

}

void writeGlance(PageContext const& page)
{
    Glance(page).write();
}

void writeDifferences(PageContext const& page)
{
    if (page.machine.differences.empty())
        return;
    auto const section = page.html.open("section", {{"id", "library"}});
    page.html.element("h2", "Library");
    auto const content = page.html.open("div", {{"class", "content"}});
    HtmlTable table(page.html,
        counted(page.machine.differences.size(), "fact differs", "facts differ")
            + " for the host of the library",
        {{"SUBJECT", HtmlTable::WORD}, {"ITEMS", HtmlTable::LIST}, {"FACT", HtmlTable::WORD},
            {"LIBRARY"}, {"REASON"}},
        "wide");
    for (DifferenceRow const& row : differenceRows(page.machine.differences)) {
        Difference const& first = *row.first;
        bool const isReported = !first.fact.empty();
        table.addRow({words(sectionTitle(first.subject)),
            row.items.empty() ? Cell() : words(joined(row.items)),
            words(isReported ? factText(first.fact) : "all"),
            words(isReported ? libraryText(first.library, first.fact) : "not reported"),
            words(first.reason)});
    }
}

}
