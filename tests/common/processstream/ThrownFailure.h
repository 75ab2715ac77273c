#pragma once

#include "common/basic/processstream/src/process_exception.h"

#include <optional>
#include <utility>

/** The reason and the `errno` of a `ProcessException`. */
using Failure = std::pair<int, int>;

inline constexpr Failure NO_FAILURE{-1, 0};

/** @return the `ProcessException` that @p work throws, if it throws one. */
template <class Work> std::optional<dovrel::ProcessException> exceptionOf(Work work)
{
    try {
        work();
    } catch (dovrel::ProcessException const& exception) {
        return exception;
    }
    return std::nullopt;
}

/** @return the failure that @p work throws, or `NO_FAILURE`. */
template <class Work> Failure failureOf(Work work)
{
    auto const exception = exceptionOf(work);
    return exception ? Failure(exception->reason(), exception->code()) : NO_FAILURE;
}

/** @return the reason that @p work throws, or -1. */
template <class Work> int reasonOf(Work work)
{
    return failureOf(work).first;
}
