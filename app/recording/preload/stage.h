#pragma once

#include <dlfcn.h>

#include <string>

/** Marks a function that the object has in place of the C library's. */
#define ANSWERED extern "C" __attribute__((visibility("default")))

/**
 * What is preloaded into the program, ld.so(8): it records what the queries read, or has them read
 * a recording.
 *
 * The folder of the recording has `answers` (lines as answer_line.h has them), `root/PATH` and
 * `later/PATH` (files in place of others), and `tools/` (see tools.cpp).
 */
namespace preload {

struct Stage {
    enum Mode {
        OFF, ///< Every call is the C library's.
        RECORD, ///< What is read for the first time is kept in the folder, and read there from then
                ///< on.
        ANSWER ///< Calls are answered from the folder; files that it does not have are those of the
               ///< machine.
    };

    Mode mode = OFF;
    std::string folder;
    std::string query; ///< The one that is recorded.
};

/** From the variables DOVREL_RECORD or DOVREL_ANSWER (a folder) and DOVREL_QUERY, or as set by
 * dovrel_answer_from. */
Stage const& stage();

/** @return whether calls are answered; not those that read the answers themselves. */
bool answersCalls();

/** Lets calls through while it lives. */
class AnswersAreRead {
public:
    AnswersAreRead();
    AnswersAreRead(AnswersAreRead const&) = delete;
    AnswersAreRead& operator=(AnswersAreRead const&) = delete;
    ~AnswersAreRead();
};

/** Appends a line to the folder's `log`: the query, the operation, and its words as answer_line.h
 * has them. Keeps errno. */
void log(std::string const& operation, std::string const& words);

/** Logs a line of `answers`. */
void logAnswer(std::string const& line);

/** The C library's function of a name, behind the one in here. */
template <typename Function> Function* real(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/** Waits until the program is killed, or a file `running` of the folder, a FIFO, has no writer. */
[[noreturn]] void waitForEver();

}

/** Answers all calls from now on from a folder. The program calls it in the root of a replay. */
ANSWERED void dovrel_answer_from(char const* folder);
