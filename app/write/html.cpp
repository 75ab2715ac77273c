#include "app/write/html.h"

#include "app/write/exact_values.h"
#include "app/write/html_glance.h"
#include "app/write/html_sections.h"
#include "app/write/html_style.h"
#include "app/write/names.h"

namespace app {

namespace {

constexpr char const* PROGRAM = "dovrel-sysinfo " DOVREL_SYSINFO_VERSION;

/** Writes the page of one machine. */
class HtmlPage {
public:
    HtmlPage(Machine const& machine, std::ostream& out)
        : m_machine(machine), m_notes(machine), m_html(out)
    {
    }

    void write()
    {
        m_html.raw("<!DOCTYPE html>\n");
        auto const root =
            m_html.open("html", {{"lang", "en"}, {"xmlns", "http://www.w3.org/1999/xhtml"}});
        writeHead();
        auto const body = m_html.open("body");
        writeHeader();
        writeContents();
        auto const main = m_html.open("main");
        writeProblems();
        if (m_machine.subjects.size() > 1)
            writeGlance({m_machine, m_notes, m_html});
        writePart(Subject::SYSTEM, m_machine.system);
        writePart(Subject::PROCESSORS, m_machine.processors);
        writePart(Subject::MEMORY, m_machine.memory);
        writePart(Subject::DISKS, m_machine.disks);
        writePart(Subject::MOUNTS, m_machine.mounts);
        writePart(Subject::NETWORKS, m_machine.networks);
        writePart(Subject::RECOVERY, m_machine.recovery);
        writeDifferences({m_machine, m_notes, m_html});
    }

private:
    std::string title() const
    {
        std::optional<std::string> name;
        if (m_machine.system)
            name = m_machine.system->hostName;
        if (!name && m_machine.networks)
            name = m_machine.networks->hostName;
        return name.value_or("This machine");
    }

    void writeHead()
    {
        auto const head = m_html.open("head");
        m_html.empty("meta", {{"charset", "utf-8"}});
        m_html.empty("meta",
            {{"http-equiv", "Content-Security-Policy"},
                {"content", "default-src 'none'; style-src 'unsafe-inline'"}});
        m_html.empty(
            "meta", {{"name", "viewport"}, {"content", "width=device-width, initial-scale=1"}});
        m_html.empty("meta", {{"name", "color-scheme"}, {"content", "light dark"}});
        m_html.empty("meta", {{"name", "generator"}, {"content", PROGRAM}});
        m_html.element("title", title() + " - dovrel-sysinfo");
        auto const style = m_html.open("style");
        m_html.raw(htmlStyle());
    }

    void writeHeader()
    {
        auto const header = m_html.open("header");
        {
            auto const name = m_html.open("div");
            m_html.element("h1", title());
            if (m_machine.system)
                m_html.element("p", m_machine.system->osName.value_or("unknown operating system"));
        }
        auto const read = m_html.open("div", {{"class", "read"}});
        {
            auto const line = m_html.open("p");
            m_html.text("read ");
            m_html.element("time", timeText(m_machine.time),
                {{"datetime", timestamp(m_machine.time).value_or("")}});
        }
        m_html.element("p", PROGRAM);
    }

    /** Links to the sections. */
    void writeContents()
    {
        auto const contents = m_html.open("nav", {{"aria-label", "Sections"}});
        if (!m_machine.problems.empty())
            m_html.element("a", "Problems", {{"href", "#problems"}});
        for (Subject const subject : m_machine.subjects)
            m_html.element(
                "a", sectionTitle(subject), {{"href", std::string("#") + keyOf(subject)}});
        if (!m_machine.differences.empty())
            m_html.element("a", "Library", {{"href", "#library"}});
    }

    void writeProblems()
    {
        if (m_machine.problems.empty())
            return;
        auto const section = m_html.open("section", {{"id", "problems"}});
        m_html.element("h2", "Problems");
        auto const list = m_html.open("ul");
        for (Problem const& problem : m_machine.problems) {
            auto const item = m_html.open("li");
            m_html.text("cannot read ");
            m_html.element("strong", problem.fact);
            m_html.text(" from " + problem.source + ": " + problem.reason);
        }
    }

    template <class Part> void writePart(Subject subject, std::optional<Part> const& part)
    {
        if (!m_machine.wasAskedFor(subject))
            return;
        PageContext const context = {m_machine, m_notes, m_html};
        PageSection const section(context, subject);
        if (part)
            writeSection(context, *part);
        else if (subject == Subject::RECOVERY && !m_machine.hasProblem(subject))
            writeSentence(context, NO_RECOVERY);
        else
            writeSentence(context, UNREADABLE);
    }

    Machine const& m_machine;
    Notes const m_notes;
    Html m_html;
};

}

void writeHtml(Machine const& machine, std::ostream& out)
{
    HtmlPage(machine, out).write();
}

}
