#pragma once

#include "common/basic/noncopyable.h"

#include <locale>
#include <memory>

/** While it lives, the global C++ locale writes 4711.5 as 4'711,5. */
class GroupingLocale : dovrel::noncopyable_::noncopyable {
public:
    GroupingLocale()
        : m_former(std::locale::global(
            std::locale(std::locale::classic(), std::make_unique<Groups>().release())))
    {
    }
    ~GroupingLocale() { std::locale::global(m_former); }

private:
    struct Groups : std::numpunct<char> {
        char do_thousands_sep() const override { return '\''; }
        char do_decimal_point() const override { return ','; }
        std::string do_grouping() const override { return "\3"; }
    };

    std::locale m_former;
};
