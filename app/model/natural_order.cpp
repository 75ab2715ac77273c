#include "app/model/natural_order.h"

#include <algorithm>

namespace app {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/** @return the end of the digits that begin at @p begin. */
std::string::const_iterator endOfDigits(
    std::string::const_iterator begin, std::string::const_iterator end)
{
    return std::find_if_not(begin, end, isDigit);
}

}

bool naturallyBefore(std::string const& first, std::string const& second)
{
    auto one = first.begin();
    auto two = second.begin();
    while (one != first.end() && two != second.end()) {
        if (!isDigit(*one) || !isDigit(*two)) {
            if (*one != *two)
                return static_cast<unsigned char>(*one) < static_cast<unsigned char>(*two);
            ++one;
            ++two;
            continue;
        }
        auto const isZero = [](char c) { return c == '0'; };
        one = std::find_if_not(one, first.end(), isZero);
        two = std::find_if_not(two, second.end(), isZero);
        auto const oneEnd = endOfDigits(one, first.end());
        auto const twoEnd = endOfDigits(two, second.end());
        // Without leading zeros the longer number is the larger one.
        if (oneEnd - one != twoEnd - two)
            return oneEnd - one < twoEnd - two;
        int const order = std::string(one, oneEnd).compare(std::string(two, twoEnd));
        if (order != 0)
            return order < 0;
        one = oneEnd;
        two = twoEnd;
    }
    if ((one == first.end()) != (two == second.end()))
        return one == first.end();
    return first < second; // The same but for leading zeros.
}

bool diskBefore(std::string const& first, std::string const& second)
{
    constexpr char const* LETTERS = "abcdefghijklmnopqrstuvwxyz";
    for (char const* const prefix : {"sd", "hd", "vd", "xvd", "dasd"}) {
        if (first.rfind(prefix, 0) != 0 || second.rfind(prefix, 0) != 0)
            continue;
        size_t const one = std::min(first.find_first_not_of(LETTERS), first.size());
        size_t const two = std::min(second.find_first_not_of(LETTERS), second.size());
        if (one != two)
            return one < two;
    }
    return naturallyBefore(first, second);
}

}
