#include "app/recording/archive/ArchiveError.h"

#include "app/recording/archive/escaped_text.h"

namespace app {

void refuse(std::string const& item, std::string const& reason)
{
    constexpr size_t MOST_SHOWN = 200;
    std::string const shown =
        item.size() > MOST_SHOWN ? escaped(item.substr(0, MOST_SHOWN)) + "..." : escaped(item);
    throw ArchiveError(shown + ": " + reason);
}

}
