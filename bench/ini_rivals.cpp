#include "bench/ini_rivals.h"

#include <boost/property_tree/ini_parser.hpp>
#include <ini.h>

#include <stdexcept>

namespace bench {

namespace {

[[noreturn]] void cannotRead(std::string const& path)
{
    throw std::runtime_error("cannot read " + path);
}

}

DovrelReader::DovrelReader(std::string const& path) : m_file(path, true, false, false)
{
    if (m_file.savedError() != 0)
        cannotRead(path);
}

DovrelReader::Query DovrelReader::query(IniEntry const& entry)
{
    return {dovrel::string(entry.section), dovrel::string(entry.key)};
}

dovrel::string DovrelReader::find(Query const& query) const
{
    dovrel::string value;
    m_file.lookupString(query.first, query.second, value);
    return value;
}

InihReader::InihReader(std::string const& path)
{
    if (ini_parse(path.c_str(), &InihReader::store, this) != 0)
        cannotRead(path);
}

std::string InihReader::joined(std::string const& section, std::string const& key)
{
    return section + '=' + key;
}

int InihReader::store(void* reader, char const* section, char const* key, char const* value)
{
    // The first assignment wins, as in the library.
    static_cast<InihReader*>(reader)->m_values.emplace(joined(section, key), value);
    return 1;
}

std::string InihReader::find(Query const& query) const
{
    auto const at = m_values.find(joined(query.first, query.second));
    return at == m_values.end() ? std::string() : at->second;
}

SimpleIniReader::SimpleIniReader(std::string const& path)
{
    if (m_file.LoadFile(path.c_str()) < 0)
        cannotRead(path);
}

std::string SimpleIniReader::find(Query const& query) const
{
    return m_file.GetValue(query.first.c_str(), query.second.c_str(), "");
}

PropertyTreeReader::PropertyTreeReader(std::string const& path)
{
    boost::property_tree::read_ini(path, m_tree);
}

std::string PropertyTreeReader::find(Query const& query) const
{
    return m_tree.get(query, std::string());
}

}
