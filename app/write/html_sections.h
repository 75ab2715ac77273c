#pragma once

#include "app/model/Machine.h"
#include "app/write/html_facts.h"
#include "app/write/notes.h"

#include <string>
#include <vector>

namespace app {

/** The machine, its notes, and the page that they are written to. */
struct PageContext {
    Machine const& machine;
    Notes const& notes;
    Html& html;
};

/** A section with its heading, and its notes below; closed with the object. */
class PageSection {
public:
    PageSection(PageContext const& page, Subject subject);
    PageSection(PageSection const&) = delete;
    PageSection& operator=(PageSection const&) = delete;
    ~PageSection();

private:
    PageContext const& m_page;
    Subject m_subject;
    Html::Element m_section;
    Html::Element m_content;
};

/** @return the section's heading, "Disks". */
std::string sectionTitle(Subject subject);

/** @return links to the notes of an item. */
Cell noteLinks(PageContext const& page, Subject subject, std::string const& item);

/** Each writes the content of one section. */
void writeSection(PageContext const& page, System const& system);
void writeSection(PageContext const& page, Processors const& processors);
void writeSection(PageContext const& page, Memory const& memory);
void writeSection(PageContext const& page, std::vector<Disk> const& disks);
void writeSection(PageContext const& page, std::vector<Mount> const& mounts);
void writeSection(PageContext const& page, Networks const& networks);
void writeSection(PageContext const& page, Recovery const& recovery);

/** Writes a sentence, in place of a table or below it. */
void writeSentence(PageContext const& page, std::string const& text);

}
