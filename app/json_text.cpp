#include "app/json_text.h"

namespace app {

std::string jsonText(Json const& document)
{
    constexpr int INDENT = 2;
    return document.dump(INDENT, ' ', false, Json::error_handler_t::replace) + "\n";
}

}
