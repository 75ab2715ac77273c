#pragma once

#include "bench/fake_ini.h"
#include "common/basic/IniFile.h"

// Narrow strings need no other library. SI_IMPLEMENTATION defines the templates.
#define SI_NO_CONVERSION
#define SI_IMPLEMENTATION
#include <SimpleIni.h>
#include <boost/property_tree/ptree.hpp>

#include <map>
#include <string>
#include <utility>

namespace bench {

// INI readers behind one interface. A Query has the types of its reader, so that no conversion is
// measured.

class DovrelReader {
public:
    using Query = std::pair<dovrel::string, dovrel::string>;

    explicit DovrelReader(std::string const& path);
    static Query query(IniEntry const& entry);
    static dovrel::string text(std::string const& value) { return value; }
    dovrel::string find(Query const& query) const;

private:
    dovrel::IniFile m_file;
};

/** inih only parses. Stores values in a map, as its C++ wrapper INIReader does, but case-sensitive.
 */
class InihReader {
public:
    using Query = std::pair<std::string, std::string>;

    explicit InihReader(std::string const& path);
    static Query query(IniEntry const& entry) { return {entry.section, entry.key}; }
    static std::string text(std::string const& value) { return value; }
    std::string find(Query const& query) const;

private:
    static std::string joined(std::string const& section, std::string const& key);
    static int store(void* reader, char const* section, char const* key, char const* value);

    std::map<std::string, std::string> m_values;
};

class SimpleIniReader {
public:
    using Query = std::pair<std::string, std::string>;

    explicit SimpleIniReader(std::string const& path);
    static Query query(IniEntry const& entry) { return {entry.section, entry.key}; }
    static std::string text(std::string const& value) { return value; }
    std::string find(Query const& query) const;

private:
    CSimpleIniA m_file;
};

class PropertyTreeReader {
public:
    using Query = std::string;

    explicit PropertyTreeReader(std::string const& path);
    static Query query(IniEntry const& entry) { return entry.section + '.' + entry.key; }
    static std::string text(std::string const& value) { return value; }
    std::string find(Query const& query) const;

private:
    boost::property_tree::ptree m_tree;
};

}
