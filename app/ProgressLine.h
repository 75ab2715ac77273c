#pragma once

#include "app/model/Problem.h"

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace app {

/** A line on standard error that names the subject being read, where reading takes longer than a
 * measurement of loads; nothing where standard error is no terminal. */
class ProgressLine {
public:
    /** @param wanted false shows nothing on a terminal either. */
    explicit ProgressLine(bool wanted);
    ProgressLine(ProgressLine const&) = delete;
    ProgressLine& operator=(ProgressLine const&) = delete;

    /** Leaves an empty line with the cursor at its beginning. */
    ~ProgressLine();

    void show(Subject subject);

private:
    void run();

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::string m_text;
    bool m_ended = false;
    std::thread m_thread; // Draws, as the program itself waits in a query.
};

}
