#pragma once

#include "common/basic/processstream/src/generic_pstream.h"
#include "common/basic/processstream/src/process_exception.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <string>
#include <vector>

/** One result of a look at the child, or of a read or a write. */
struct Answer {
    int result;
    std::string data = {};
    int reason = -1; // Thrown where there is one.

    int give() const
    {
        if (reason >= 0) {
            errno = 0;
            throw dovrel::ProcessException(static_cast<dovrel::reason_type>(reason), 0);
        }
        return result;
    }
};

inline Answer thrown(dovrel::reason_type reason)
{
    return {0, {}, static_cast<int>(reason)};
}

/** Takes answers in order; the last one is given for ever. */
class Answers {
public:
    explicit Answers(Answer last) : m_answers{std::move(last)} { }

    void set(std::deque<Answer> answers) { m_answers = std::move(answers); }

    Answer next()
    {
        Answer const answer = m_answers.front();
        if (m_answers.size() > 1)
            m_answers.pop_front();
        return answer;
    }

private:
    std::deque<Answer> m_answers;
};

/** A pipe that has no data yet and takes all that is written, unless told otherwise. */
class FakePipe : public Pipe {
public:
    int read(char* buf, unsigned len) override
    {
        readSizes.push_back(len);
        Answer const answer = reads.next();
        if (answer.data.empty())
            return answer.give();
        size_t const size = std::min<size_t>(answer.data.size(), len);
        std::copy_n(answer.data.data(), size, buf);
        return static_cast<int>(size);
    }

    int write(char const* buf, unsigned len) override
    {
        attempts.emplace_back(buf, len);
        Answer const answer = writes.next();
        return answer.result == ALL ? static_cast<int>(len) : answer.give();
    }

    static constexpr int ALL = 1 << 20;

    Answers reads{Answer{0}};
    Answers writes{Answer{ALL}};
    std::vector<unsigned> readSizes;
    std::vector<std::string> attempts; // What each write was given.
};

/** A child that runs for ever, unless told otherwise. */
class FakeCommand : public Command {
public:
    int uncachedExitCode() override
    {
        ++looks;
        return states.next().give();
    }
    Pipe& stdInOut() override { return pipe; }
    Pipe& stdErr() override { return pipe; }

    FakePipe pipe;
    Answers states{thrown(dovrel::REASON_NOT_EXITED)};
    unsigned looks = 0;
};
