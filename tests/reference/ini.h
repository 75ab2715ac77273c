#pragma once

#include "common/basic/IniFile.h"

#include <map>
#include <string>
#include <utility>

namespace reference {

/**
 * A reference parser of INI files: line by line, into a std::map.
 *
 * It shares only the string type with the library. It decodes in the current locale.
 */
class Ini {
public:
    explicit Ini(std::string const& text);

    /** @return the first difference from @p file, which was read from the same text; empty if there
     * is none. */
    std::string differenceFrom(dovrel::IniFile const& file) const;

    size_t size() const { return m_entries.size(); }

private:
    using Place = std::pair<std::wstring, std::wstring>;
    struct Before {
        bool operator()(Place const& a, Place const& b) const;
    };

    void readLine(std::string line);
    std::string differenceOfSection(dovrel::IniFile const& file, std::wstring const& section) const;

    std::string m_section;
    std::map<Place, std::wstring, Before> m_entries;
};

}
