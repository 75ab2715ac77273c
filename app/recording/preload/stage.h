#pragma once

#include <dlfcn.h>

#include <string>

/** Marks a function that the object has in place of the C library's. */
#define ANSWERED extern "C" __attribute__((visibility("default")))

/**
 * What is preloaded into the program, ld.so(8): it has the queries read a recording, or records
 * what they read; or both, which records a recorded machine.
 *
 * The folder of a recording has `answers` (lines as answer_line.h has them), `root/PATH` and
 * `later/PATH` (files in place of others), and `tools/` (see tools.h).
 */
namespace preload {

/** From the variables DOVREL_ANSWER, DOVREL_RECORD (folders) and DOVREL_QUERY. */
struct Stage {
    /** Calls are answered from this folder; files that it does not have are those of the machine.
     * Empty: they are the C library's. dovrel_answer_from sets it, too. */
    std::string answers;
    /** What is read for the first time is kept here, and read here from then on. Empty: no. */
    std::string record;
    std::string query; ///< The one that is recorded.
};

Stage const& stage();

inline bool isRecording()
{
    return !stage().record.empty();
}

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

/** Appends a line to the `log` of what is recorded: the query, the operation, and its words as
 * answer_line.h has them. Keeps errno. */
void log(std::string const& operation, std::string const& words);

/** Notes that something could not be kept, as on a full disk: removes the file `complete` of what
 * is recorded, which needs no space. Keeps errno. */
void noteLoss();

/** Logs a line of `answers`. */
void logAnswer(std::string const& line);

/** The C library's function of a name, behind the one in here. */
template <typename Function> Function* real(char const* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/** Waits until the program is killed, or a FIFO `running` in the folder of the answers has no
 * writer.
 */
[[noreturn]] void waitForEver();

}

/** Answers all calls from now on from a folder. The program calls it in the root of a replay. */
ANSWERED void dovrel_answer_from(char const* folder);
