#include "tests/common/basic/locale_scope.h"

#include <clocale>
#include <cstdlib>
#include <stdexcept>

namespace {

char const* setCharacterType(char const* name)
{
    if (char const* set = std::setlocale(LC_CTYPE, name))
        return set;
    // LOCPATH hides the system's locales, so it is set for one call only.
    setenv("LOCPATH", DOVREL_TEST_LOCALES, 1);
    char const* set = std::setlocale(LC_CTYPE, name);
    unsetenv("LOCPATH");
    return set;
}

}

LocaleScope::LocaleScope(char const* name) : m_former(std::setlocale(LC_CTYPE, nullptr))
{
    if (!setCharacterType(name))
        throw std::runtime_error(std::string("no such locale: ") + name);
}

LocaleScope::~LocaleScope()
{
    setCharacterType(m_former.c_str());
}
