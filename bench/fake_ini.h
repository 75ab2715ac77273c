#pragma once

#include <string>
#include <vector>

namespace bench {

struct IniEntry {
    std::string section;
    std::string key;
    std::string value;
};

/** An INI file in memory with a hundred keys in each section, in random order. */
class FakeIni {
public:
    /** @return the file with @p keys keys; makes it at the first call. @throws std::system_error */
    static FakeIni const& ofKeys(unsigned keys);

    FakeIni(FakeIni const&) = delete;
    FakeIni& operator=(FakeIni const&) = delete;
    ~FakeIni();

    std::string const& path() const { return m_path; }

    /** At most 4,096 random entries of the file. */
    std::vector<IniEntry> const& sample() const { return m_sample; }

private:
    explicit FakeIni(unsigned keys);

    int m_file;
    std::string m_path;
    std::vector<IniEntry> m_sample;
};

}
