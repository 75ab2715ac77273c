#pragma once

#include "common/basic/NetworkError.h"

#include <optional>

/** @return the code of the NetworkError that @p action throws, if it throws one. */
template <class Action> std::optional<int> networkErrorCode(Action action)
{
    try {
        action();
        return std::nullopt;
    } catch (dovrel::NetworkError const& error) {
        return error.code();
    }
}
