#pragma once

#include <locale>

namespace testkit {

/** Sets the global locale of streams during its lifetime. */
class GlobalLocale {
public:
    explicit GlobalLocale(std::locale const& locale) : m_former(std::locale::global(locale)) { }
    GlobalLocale(GlobalLocale const&) = delete;
    GlobalLocale& operator=(GlobalLocale const&) = delete;
    ~GlobalLocale() { std::locale::global(m_former); }

private:
    std::locale m_former;
};

}
