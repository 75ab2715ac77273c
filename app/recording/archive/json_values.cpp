#include "app/recording/archive/json_values.h"

#include "app/recording/archive/ArchiveError.h"
#include "app/recording/archive/limits.h"

namespace app {

void checkJsonValues(std::string const& text, char const* member, int mostDepth)
{
    uint64_t values = 0;
    int depth = 0;
    bool isString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char const byte = text[i];
        if (byte == '"')
            isString = !isString;
        else if (isString)
            i += byte == '\\';
        else if (byte == '[' || byte == '{')
            ++depth, ++values;
        else if (byte == ']' || byte == '}')
            --depth;
        else if (byte == ',' || byte == ':')
            ++values;
        if (depth > mostDepth)
            refuse(member, "its values are nested too deep");
        if (values > MOST_VALUES)
            refuse(member, "it has too many values");
    }
}

}
