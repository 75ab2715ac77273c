#include "app/recording/preload/stage.h"

#include "app/recording/answer_line.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace preload {

namespace {

std::string variable(char const* name)
{
    char const* const value = std::getenv(name);
    return value ? value : "";
}

Stage stageOfVariables()
{
    return {variable("DOVREL_ANSWER"), variable("DOVREL_RECORD"), variable("DOVREL_QUERY")};
}

Stage& changeableStage()
{
    static Stage stage = stageOfVariables();
    return stage;
}

bool answersAreRead = false;

/** The program's tools, which may be of another width, must not get this object. */
__attribute__((constructor)) void hideFromChildren()
{
    stage();
    constexpr std::string_view BY_DESCRIPTOR = "/proc/self/fd/";
    if (std::string const object = variable("LD_PRELOAD"); object.starts_with(BY_DESCRIPTOR))
        close(static_cast<int>(std::strtol(object.c_str() + BY_DESCRIPTOR.size(), nullptr, 10)));
    // DOVREL_ANSWER stays for the program's own runs by itself.
    for (char const* const name : {"LD_PRELOAD", "LD_LIBRARY_PATH", "DOVREL_RECORD", "DOVREL_QUERY",
             "DOVREL_STARTED_PRELOADED"})
        unsetenv(name);
}

}

Stage const& stage()
{
    return changeableStage();
}

bool answersCalls()
{
    return !stage().answers.empty() && !answersAreRead;
}

AnswersAreRead::AnswersAreRead()
{
    answersAreRead = true;
}

AnswersAreRead::~AnswersAreRead()
{
    answersAreRead = false;
}

void noteLoss()
{
    if (!isRecording())
        return;
    int const error = errno;
    unlink((stage().record + "/complete").c_str());
    errno = error;
}

void log(std::string const& operation, std::string const& words)
{
    int const error = errno;
    static auto* const realOpen = real<int(char const*, int, ...)>("open");
    std::string const line = stage().query + " " + operation + " " + words + "\n";
    int const file = realOpen(
        (stage().record + "/log").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    // In one piece, as several processes write.
    if (file < 0 || write(file, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        noteLoss();
    if (file >= 0)
        close(file);
    errno = error;
}

void logAnswer(std::string const& line)
{
    log("answer", line);
}

void waitForEver()
{
    static auto* const realOpen = real<int(char const*, int, ...)>("open");
    int const fifo = realOpen((stage().answers + "/running").c_str(), O_RDONLY | O_CLOEXEC);
    if (fifo < 0)
        for (;;)
            pause();
    char byte = 0;
    while (read(fifo, &byte, 1) < 0 && errno == EINTR) { }
    // The test is over.
    _exit(EXIT_FAILURE);
}

}

ANSWERED void dovrel_answer_from(char const* folder)
{
    preload::changeableStage() = {folder, "", ""};
}
