#pragma once

#include <random>

namespace testkit {

/** @return a number from 0 to @p bound - 1; the same sequence on every machine. */
inline unsigned below(std::mt19937& random, unsigned bound)
{
    return static_cast<unsigned>(random() % bound);
}

}
