#pragma once

#include "tests/machines/Variables.h"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace machines {

/**
 * A fake machine as text; `tests/machines/README.md` has the format.
 *
 * Reading the text replaces all variables, repetitions and templates. `build` writes the result
 * into the root folder of `testkit::machine`, so reading needs the real root and `build` the fake
 * one.
 */
class MachineFile {
public:
    /** Reads the file and those that it includes.
     * @throws std::runtime_error with file, line and reason. */
    explicit MachineFile(std::filesystem::path const& path);

    /** Writes everything. @throws std::runtime_error with file, line and reason. */
    void build() const;

private:
    /** A line of the file with those below it that are indented more, less that indentation. */
    struct Entry {
        std::filesystem::path file;
        size_t line;
        std::string text;
        std::vector<std::string> body;
    };

    struct Template {
        std::vector<std::string> parameters;
        std::vector<std::string> body;
        std::filesystem::path file;
        size_t line;
    };

    using Lines = std::vector<std::string>;

    void readFile(std::filesystem::path const& path);
    void expand(Lines const& lines, std::filesystem::path const& file, size_t firstLine);
    void expandEntry(Entry const& entry);
    void expandRepeat(Entry const& entry, Lines const& words);
    void expandTemplate(Template const& called, Lines const& words);
    void define(Entry const& entry, Lines const& words);
    void keep(Entry entry);

    Variables m_variables;
    std::map<std::string, Template> m_templates;
    std::vector<Entry> m_entries; // What is left to be built, in order.
};

}
