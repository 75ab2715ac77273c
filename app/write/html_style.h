#pragma once

#include <string>

namespace app {

/** @return the style sheet of a page: light and dark, for wide and narrow screens and for paper. */
std::string htmlStyle();

}
