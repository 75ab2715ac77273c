#include "app/write/ColumnTable.h"

#include <sstream>

namespace app {

namespace {

constexpr char const* BLANKS = " \t";

std::string trimmed(std::string const& text)
{
    size_t const begin = text.find_first_not_of(BLANKS);
    return begin == std::string::npos
        ? ""
        : text.substr(begin, text.find_last_not_of(BLANKS) - begin + 1);
}

}

bool isAddition(std::string const& list)
{
    return trimmed(list).starts_with('+');
}

std::vector<std::string> columnNames(std::string const& list)
{
    std::vector<std::string> names;
    std::istringstream stream(trimmed(list).substr(isAddition(list) ? 1 : 0));
    for (std::string name; std::getline(stream, name, ',');) {
        for (char& c : name)
            c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        names.push_back(trimmed(name));
    }
    return names;
}

}
