#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"

#include <ostream>
#include <string>
#include <vector>

namespace app {

/** The fact of an item of which the library has more records than the machine has items. */
inline constexpr char const* RECORDS = "records";

/** The footnotes of a machine: the library's other values, and why facts are unavailable.
 * Differences of the same fact with the same reason share a number. */
class Notes {
public:
    /** @param machine must outlive the object. */
    explicit Notes(Machine const& machine);

    /** @return the numbers for an item's facts, "1 3"; empty where it has none. */
    std::string marks(Subject subject, std::string const& item) const;

    /** @return the notes of one subject without their numbers, which are their places from 1 on. */
    std::vector<std::string> texts(Subject subject) const;

    /** @return a sentence for each fact of the subject that this machine or user does not have. */
    std::vector<std::string> unknownFacts(Subject subject) const;

    /** Writes the notes of one subject, each on separate lines. */
    void write(Subject subject, Layout const& layout, std::ostream& out) const;

private:
    struct Note {
        Subject subject;
        std::string fact; ///< The first one's; a note of the recovery may have several.
        std::string reason;
        std::vector<Difference const*> differences;
    };

    std::string text(Note const& note) const;

    /** The values of a note's items, of the first ones where there are many. */
    std::string valuesText(Note const& note) const;

    /** @return " for " and the items where no row of the table has the note's mark. */
    std::string unmarkedItems(Note const& note) const;

    Machine const& m_machine;
    std::vector<Note> m_notes; ///< A note's number is its place among those of its subject.
};

/** @return a library's value for people; bytes as a size and as a number, hertz as MHz, a time as
 * local time. */
std::string libraryText(std::optional<LibraryValue> const& value, std::string const& fact);

/** @return a fact's key as words, "size" for "size_bytes", "highest MHz" for "highest_hertz". */
std::string factText(std::string const& key);

/** @return "a record of sdz", "2 records of eth0"; of a difference in the number of records. */
std::string recordsText(Difference const& difference);

/** @return a colon, the reason and a full stop; the full stop alone where there is no reason. */
std::string reasonText(std::string const& reason);

}
