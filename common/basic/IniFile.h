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
 * Reads an INI file. The constructor reads the whole file; nothing is ever written.
 *
 * A line is a heading `[section]`, whose "]" may be missing, or `key = value`; other lines are
 * ignored. A ";" starts a comment anywhere in a line, even within quotes. One pair of quotes around
 * a value is removed. The first assignment of a key in a section wins. Text is in the locale's
 * encoding.
 *
 * Look-ups ignore case, towlower(3). The constructor folds the names of the file; a look-up folds
 * its arguments. If the host changes `LC_CTYPE` in between, a look-up of a non-ASCII name may find
 * nothing. An ASCII name is still found, unless the constructor ran in a locale that maps an ASCII
 * letter to another character (tr_TR.UTF-8: "I").
 *
 * Errors: if the file cannot be read, there are no entries; see `savedError` and `errorText`.
 * Look-ups never fail. Time: if another process has a lease on the file, fcntl(2), the constructor
 * waits up to 60 seconds, and without a limit while the file's disk hangs. Threads: after
 * construction, any number of threads may look up at once. The constructing thread must not be
 * cancelled, pthread_cancel(3), in the constructor.
 */
class DOVREL_EXPORT IniFile {
public:
    /** The maximum size in bytes. A larger file is an error (`EFBIG`). */
    static constexpr size_t LARGEST_FILE = size_t{64} << 20;

    /**
     * @param mustExist whether a missing file is an error.
     * @param mayBeMissing if false, a missing file is an error too.
     * @param third has no effect.
     * @throws std::bad_alloc
     */
    IniFile(string const& path, bool mustExist, bool mayBeMissing, bool third);

    /** Copies everything but the error. */
    IniFile(IniFile const& other);
    IniFile& operator=(IniFile const&) = delete;
    ~IniFile();

    /** @return whether the section exists and has entries. */
    bool SectionExists(string const& section) const;

    /** @return whether the key exists. Leaves @p out unchanged if not. */
    bool lookupString(string const& section, string const& key, string& out) const;

    /** @return the value; @p fallback if the key does not exist. */
    string ReadString(string const& section, string const& key, string const& fallback) const;

    /** @return the value as a decimal number, see `literal_cast`; @p fallback if the key does not
     * exist or the value is not a number. */
    long ReadInt(string const& section, string const& key, long const& fallback) const;

    /** @return true if the value is "true", ignoring case, or "1"; false for any other value;
     * @p fallback if the key does not exist. */
    bool ReadBool(string const& section, string const& key, bool const& fallback) const;

    /** @return the names of the sections that have entries, as written in the file. A section that
     * is written in two ways appears twice. */
    std::set<string> ReadSectionNames() const;

    /** @return `key=value` for each entry of the section, ordered by key. */
    std::vector<string> ReadSectionValues(string const& section) const;

    /** Writes the entries of section @p name for diagnosis; those of all sections if it is "*". */
    void Dump(std::ostream& os, string const& name) const;

    /** @return the number of entries. */
    size_t size() const;

    /** @return the `errno` value of the first failure, 0 for none. */
    int savedError() const { return m_savedError; }

    /** @return the message of the failure; empty if there was none. */
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
