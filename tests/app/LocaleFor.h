#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <string>

namespace app_test {

/** Sets the C library's locale while it exists. */
class LocaleFor {
public:
    explicit LocaleFor(char const* name) : m_former(std::setlocale(LC_ALL, nullptr))
    {
        EXPECT_NE(std::setlocale(LC_ALL, name), nullptr) << name;
    }
    LocaleFor(LocaleFor const&) = delete;
    LocaleFor& operator=(LocaleFor const&) = delete;
    ~LocaleFor() { std::setlocale(LC_ALL, m_former.c_str()); }

private:
    std::string m_former;
};

}
