#pragma once

#include <string>
#include <vector>

namespace bench {

struct IniEntry {
    std::string section;
    std::string key;
    std::string value;
};

/** An INI file of so many keys, a hundred a section, in no order, that is in memory alone. */
class MadeUpIni {
public:
    /** Made once for each number of keys. @throws std::system_error */
    static MadeUpIni const& ofKeys(unsigned keys);

    MadeUpIni(MadeUpIni const&) = delete;
    MadeUpIni& operator=(MadeUpIni const&) = delete;
    ~MadeUpIni();

    std::string const& path() const { return m_path; }

    /** At most 4,096 of its entries, from all over the file. */
    std::vector<IniEntry> const& sample() const { return m_sample; }

private:
    explicit MadeUpIni(unsigned keys);

    int m_file;
    std::string m_path;
    std::vector<IniEntry> m_sample;
};

}
