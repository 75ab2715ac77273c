#pragma once

#include "bench/made_up_ini.h"
#include "common/basic/IniFile.h"

// Narrow texts alone, which need no other library, and all of the templates.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION
#include <SimpleIni.h>
#include <boost/property_tree/ptree.hpp>

#include <map>
#include <string>
#include <utility>

namespace bench {

// What reads INI files, each behind the same three calls. A question is whatever a caller of that
// reader would have in hand.

class DovrelReader {
public:
    using Question = std::pair<dovrel::string, dovrel::string>;

    explicit DovrelReader(std::string const& path);
    static Question question(IniEntry const& entry);
    static dovrel::string text(std::string const& value) { return value; }
    dovrel::string find(Question const& question) const;

private:
    dovrel::IniFile m_file;
};

/** inih has no store of its own: the usual one, as its C++ companion has it, but minding case. */
class InihReader {
public:
    using Question = std::pair<std::string, std::string>;

    explicit InihReader(std::string const& path);
    static Question question(IniEntry const& entry) { return {entry.section, entry.key}; }
    static std::string text(std::string const& value) { return value; }
    std::string find(Question const& question) const;

private:
    static std::string joined(std::string const& section, std::string const& key);
    static int store(void* reader, char const* section, char const* key, char const* value);

    std::map<std::string, std::string> m_values;
};

class SimpleIniReader {
public:
    using Question = std::pair<std::string, std::string>;

    explicit SimpleIniReader(std::string const& path);
    static Question question(IniEntry const& entry) { return {entry.section, entry.key}; }
    static std::string text(std::string const& value) { return value; }
    std::string find(Question const& question) const;

private:
    CSimpleIniA m_file;
};

class PropertyTreeReader {
public:
    using Question = std::string;

    explicit PropertyTreeReader(std::string const& path);
    static Question question(IniEntry const& entry) { return entry.section + '.' + entry.key; }
    static std::string text(std::string const& value) { return value; }
    std::string find(Question const& question) const;

private:
    boost::property_tree::ptree m_tree;
};

}
