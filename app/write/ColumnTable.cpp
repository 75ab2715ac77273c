#include "app/write/ColumnTable.h"

#include <sstream>

namespace app {

std::vector<std::string> columnNames(std::string const& list)
{
    std::vector<std::string> names;
    std::istringstream stream(list);
    for (std::string name; std::getline(stream, name, ',');) {
        for (char& c : name)
            c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        names.push_back(name);
    }
    return names;
}

}
