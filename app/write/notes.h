#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace app {

/** The footnotes of a machine: where the library's answer differs, and why facts are unavailable.
 * Differences of the same fact with the same reason share a number. */
class Notes {
public:
    /** @param machine must outlive the object. */
    explicit Notes(Machine const& machine);

    /** @return the numbers for an item's facts, "1 3"; empty where it has none. */
    std::string marks(Subject subject, std::string const& item) const;

    /** Writes the notes of one subject, each on lines of its own. */
    void write(Subject subject, Layout const& layout, std::ostream& out) const;

private:
    struct Note {
        Subject subject;
        std::string fact;
        std::string reason;
        std::vector<Difference const*> differences;
    };

    static std::string text(Note const& note);

    Machine const& m_machine;
    std::vector<Note> m_notes; ///< A note's number is its place among those of its subject.
};

/** @return a library's value for people; bytes as a size and as a number, hertz as MHz. */
std::string libraryText(std::optional<LibraryValue> const& value, std::string const& fact);

/** @return a fact's key as words, "size" for "size_bytes", "highest MHz" for "highest_hertz". */
std::string factText(std::string const& key);

}
