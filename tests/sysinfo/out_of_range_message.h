#pragma once

#include <functional>
#include <stdexcept>
#include <string>

namespace testkit {

/** @return the message of the std::out_of_range that @p read throws. */
inline std::string outOfRangeMessage(std::function<void()> const& read)
{
    try {
        read();
    } catch (std::out_of_range const& error) {
        return error.what();
    }
    return "nothing was thrown";
}

}
