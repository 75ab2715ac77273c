#pragma once

#include "common/basic/noncopyable.h"

#include <locale>
#include <string>

/** Installs a global C++ locale that groups digits and has a decimal comma, as a host may do. */
class GroupingLocale : dovrel::noncopyable_::noncopyable {
public:
    GroupingLocale(wchar_t separator, char groupSize)
        : m_former(std::locale::global(
            std::locale(std::locale::classic(), new Digits(separator, groupSize))))
    {
    }
    ~GroupingLocale() { std::locale::global(m_former); }

private:
    class Digits : public std::numpunct<wchar_t> {
    public:
        Digits(wchar_t separator, char groupSize) : m_separator(separator), m_grouping(1, groupSize)
        {
        }

    private:
        wchar_t do_thousands_sep() const override { return m_separator; }
        wchar_t do_decimal_point() const override { return L','; }
        std::string do_grouping() const override { return m_grouping; }

        wchar_t m_separator;
        std::string m_grouping;
    };

    std::locale m_former;
};
