#pragma once

#include "common/basic/processstream/src/generic_pstream.h"
#include "common/basic/processstream/src/process_exception.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <string>
#include <vector>

/** One result of a fake read, write or check of the child. */
struct FakeResult {
    int result;
    std::string data = {};
    int reason = -1; // If there is one, it is thrown.

    int returnOrThrow() const
    {
        if (reason >= 0) {
            errno = 0;
            throw dovrel::ProcessException(static_cast<dovrel::reason_type>(reason), 0);
        }
        return result;
    }
};

inline FakeResult thrown(dovrel::reason_type reason)
{
    return {0, {}, static_cast<int>(reason)};
}

/** Returns results in order, and the last one again and again. */
class FakeResults {
public:
    explicit FakeResults(FakeResult last) : m_results{std::move(last)} { }

    void set(std::deque<FakeResult> results) { m_results = std::move(results); }

    FakeResult next()
    {
        FakeResult const result = m_results.front();
        if (m_results.size() > 1)
            m_results.pop_front();
        return result;
    }

private:
    std::deque<FakeResult> m_results;
};

/** A pipe. By default a read finds no data yet and a write takes all. */
class FakePipe : public Pipe {
public:
    int read(char* buf, unsigned len) override
    {
        readSizes.push_back(len);
        FakeResult const result = reads.next();
        if (result.data.empty())
            return result.returnOrThrow();
        size_t const size = std::min<size_t>(result.data.size(), len);
        std::copy_n(result.data.data(), size, buf);
        return static_cast<int>(size);
    }

    int write(char const* buf, unsigned len) override
    {
        attempts.emplace_back(buf, len);
        FakeResult const result = writes.next();
        return result.result == ALL ? static_cast<int>(len) : result.returnOrThrow();
    }

    static constexpr int ALL = 1 << 20;

    FakeResults reads{FakeResult{0}};
    FakeResults writes{FakeResult{ALL}};
    std::vector<unsigned> readSizes;
    std::vector<std::string> attempts; // The data of each write, failed ones included.
};

/** A child. By default it runs for ever. */
class FakeCommand : public Command {
public:
    int uncachedExitCode() override
    {
        ++checks;
        return states.next().returnOrThrow();
    }
    Pipe& stdInOut() override { return pipe; }
    Pipe& stdErr() override { return pipe; }

    FakePipe pipe;
    FakeResults states{thrown(dovrel::REASON_NOT_EXITED)};
    unsigned checks = 0;
};
