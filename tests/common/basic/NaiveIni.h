#pragma once

#include "common/basic/IniFile.h"

#include <map>
#include <string>
#include <utility>

/**
 * A second opinion on INI texts: what the rules say, line by line, and a std::map.
 *
 * It shares no code with the library but the text type. Texts are read in the present locale.
 */
class NaiveIni {
public:
    explicit NaiveIni(std::string const& text);

    /** @return the first thing that @p file, read from the same text, tells otherwise; empty where
     * there is none. */
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
