#pragma once

#include "common/basic/export.h"
#include "common/basic/wide_string.h"

#include <cstddef>
#include <memory>
#include <ostream>
#include <set>
#include <vector>

namespace dovrel {

/**
 * An INI file, read once and as a whole by its constructor and never written.
 *
 * A line is a heading `[section]`, whose "]" may be missing, or `key = value`; anything else is
 * ignored. A ";" begins a comment wherever it stands, within quotes too. One pair of quotes around
 * a value is taken off. The first assignment of a key in a section wins. Sections and keys are
 * looked up without regard to case, towlower(3); texts are in the locale's encoding. The file's
 * names are folded at construction, a look-up's when it is called, those of ASCII alone as at
 * construction. A host that changes `LC_CTYPE` in between may not find a name that is not ASCII;
 * nor one that is, where the file was read in a locale that lowers an ASCII letter to another
 * character (tr_TR.UTF-8: "I").
 *
 * Errors: a file that cannot be read gives an empty reader; see `savedError` and `errorText`. No
 * look-up fails. Threads: after construction any number may look up at once; not for a thread that
 * is cancelled, pthread_cancel(3), during construction.
 */
class DOVREL_EXPORT IniFile {
public:
    /** Files of more bytes are not read. */
    static constexpr size_t LARGEST_FILE = size_t{64} << 20;

    /**
     * @param mustExist whether a missing file is an error.
     * @param mayBeMissing whether a missing file is none; counts only where @p mustExist is false.
     * @param third has no effect.
     * @throws std::bad_alloc
     */
    IniFile(string const& path, bool mustExist, bool mayBeMissing, bool third);

    /** Copies the entries, but not the error. */
    IniFile(IniFile const& other);
    IniFile& operator=(IniFile const&) = delete;
    ~IniFile();

    /** @return whether the section has an entry. */
    bool SectionExists(string const& section) const;

    /** @return whether the key is there; @p out is left alone where it is not. */
    bool lookupString(string const& section, string const& key, string& out) const;

    string ReadString(string const& section, string const& key, string const& fallback) const;

    /** The value as `literal_cast` reads it: decimal, what follows the number ignored. */
    long ReadInt(string const& section, string const& key, long const& fallback) const;

    /** @return true for "true", in any case, and "1"; false for any other value. */
    bool ReadBool(string const& section, string const& key, bool const& fallback) const;

    /** The sections that have entries, as they are written: one that is written in two ways is
     * there twice. */
    std::set<string> ReadSectionNames() const;

    /** @return `key=value` for each of the section's entries, in the order of the keys. */
    std::vector<string> ReadSectionValues(string const& section) const;

    /** Writes the entries for people: those of section @p name, or all where it is "*". */
    void Dump(std::ostream& os, string const& name) const;

    /** @return the number of entries. */
    size_t size() const;

    /** @return the `errno` of the first failure while reading, 0 for none. */
    int savedError() const { return m_savedError; }

    /** @return what went wrong, empty where nothing did. */
    string errorText() const { return m_errorText; }

private:
    class Entries;

    string m_path;
    std::shared_ptr<Entries const> m_entries;
    bool m_mustExist;
    bool m_mayBeMissing;
    [[maybe_unused]] bool m_third;
    int m_savedError = 0;
    string m_errorText;
};

}
