#pragma once

#include "app/model/Machine.h"
#include "app/write/TextTable.h"
#include "app/write/display.h"
#include "app/write/notes.h"
#include "app/write/table.h"

#include <optional>
#include <string>

namespace app {

/** The part of a row that all tables have. */
struct RowContext {
    Machine const& machine;
    SizeUnit unit;
    bool isTerminal;
    std::string marks; ///< The numbers of the row's notes.
};

/** A machine and the choices of its reader. */
struct TableRequest {
    Machine const& machine;
    TableOptions const& options;
    Notes const& notes;

    SizeUnit unit() const { return options.bytes ? UNIT_BYTES : UNIT_FITTING; }

    RowContext row(Subject subject, std::string const& item) const
    {
        return {machine, unit(), options.layout.isTerminal(), notes.marks(subject, item)};
    }
};

/** A subject's table whose columns can be chosen. */
class SubjectTable {
public:
    virtual ~SubjectTable() = default;

    /** @throws ColumnError where one of the columns is unknown. */
    virtual void check(std::string const& columns) const = 0;

    /** @return the columns as a table themselves. */
    virtual TextTable columns() const = 0;

    /** @return the table of a machine that has the subject. @throws ColumnError */
    virtual TextTable table(TableRequest const& request) const = 0;

    /** @return the lines below the table; empty where there are none. */
    virtual std::string details(TableRequest const& /*request*/) const { return ""; }
};

SubjectTable const& processorTable();
SubjectTable const& diskTable();
SubjectTable const& mountTable();
SubjectTable const& networkTable();

/** @return the table of a subject, null where its facts are no table of columns. */
SubjectTable const* subjectTable(Subject subject);

template <class Number> std::string numberText(std::optional<Number> number)
{
    return number ? std::to_string(*number) : UNKNOWN;
}

inline std::string knownText(std::optional<std::string> const& text)
{
    return text.value_or(UNKNOWN);
}

}
