#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace app {

/** The result of one getter. */
using LibraryValue = std::variant<std::string, uint64_t, int64_t, double, std::vector<std::string>>;

/** A getter of a record, and its result. */
struct LibraryField {
    std::string getter;
    LibraryValue value;
};

/** A record as the library gives it to its host. */
struct LibraryRecord {
    std::string text; ///< The result of `toString`; empty where there is none.
    std::vector<LibraryField> fields;

    /** @return the getter's result; the type's default where the record has no such field. */
    template <class Value> Value get(std::string const& getter) const
    {
        for (LibraryField const& field : fields)
            if (field.getter == getter)
                if (auto const* value = std::get_if<Value>(&field.value))
                    return *value;
        return {};
    }
};

/** One query of the library, as a host experiences it. */
struct LibraryAnswer {
    enum Outcome {
        RETURNED_TRUE,
        RETURNED_FALSE,
        THREW,
        NOT_ENDED, ///< A tool that the query runs did not end within the limit.
        CRASHED ///< A signal ended the process that ran the query.
    };

    std::string query; ///< The name of the operation, "getMemoryInfo".
    Outcome outcome = RETURNED_TRUE;
    std::string reason; ///< The cause of any other outcome than true.
    std::vector<LibraryRecord> records; ///< Those that the query had returned by then.
    double seconds = 0; ///< The time that the query took.
    std::string source; ///< The file that the query parses, read after it; for reasons.
    std::vector<std::string> trace; ///< Messages of the levels 1 to 3; of disks and mounts.
};

}
