#pragma once

#include "tests/app/ScreenText.h"
#include "tests/support/Json.h"

#include <set>
#include <string>
#include <vector>

/** Parts of a screen, compared with facts of JSON. A mismatch is a failure of the test. */
namespace app_test {

/** A string of JSON as a screen has it, where '?' stands for all that a terminal would obey. */
std::string shown(std::string const& text);

/** The cells of a row, or the values of a list, that have not been compared yet. At its end all
 * have to be. An unknown fact is null in JSON and '-' on the screen. */
class ScreenCells {
public:
    explicit ScreenCells(ScreenRow row);
    ScreenCells(ScreenCells const&) = delete;
    ScreenCells& operator=(ScreenCells const&) = delete;
    ~ScreenCells();

    /** @return a cell, which the caller compares. */
    std::string take(std::string const& name);

    void equals(std::string const& name, std::string const& text);
    void text(std::string const& name, testkit::Json const& fact);

    /** @param none the cell of an empty list. */
    void list(std::string const& name, testkit::Json const& fact, std::string const& none);

    /** A whole number of units. */
    void number(std::string const& name, testkit::Json const& fact, uint64_t unit = 1);

    /** Bytes within half of the last digit that is shown. */
    void size(std::string const& name, testkit::Json const& bytes);

    /** A percentage within half of the last digit that is shown. */
    void percent(std::string const& name, testkit::Json const& ratio);

    /** Local time, which is UTC on the fake machines. */
    void time(std::string const& name, testkit::Json const& time);

private:
    ScreenRow m_row;
};

/** The notes that a subject has by JSON's differences: those of the same fact and reason share one.
 */
class ScreenNotes {
public:
    ScreenNotes(testkit::Json const& document, std::string const& subject);

    /** @return the numbers of an item's notes, "1 3". */
    std::string marks(std::string const& item) const;

    /** Compares the lines below a command's tables. */
    void compare(CommandText const& command) const;

private:
    struct Note {
        testkit::Json fact;
        testkit::Json reason;
        std::set<std::string> items;
        std::set<std::string> values;
    };

    void add(testkit::Json const& difference);
    static void compare(std::string const& line, Note const& note, size_t number);

    std::string m_subject;
    std::vector<Note> m_notes;
    std::vector<std::string> m_unknown;
};

}
