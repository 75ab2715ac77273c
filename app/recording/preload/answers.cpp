#include "app/recording/preload/answers.h"

#include "app/recording/preload/stage.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

namespace preload {

namespace {

Answers readAnswers()
{
    AnswersAreRead const pass;
    Answers out;
    std::ifstream file(stage().answers + "/answers");
    for (std::string line; std::getline(file, line);)
        try {
            app::addAnswer(line, out);
        } catch (std::exception const& error) {
            std::fprintf(stderr, "dovrel-sysinfo: %s: %s\n", line.c_str(), error.what());
            std::_Exit(EXIT_FAILURE);
        }
    return out;
}

}

Answers const& answers()
{
    static Answers const answers = readAnswers();
    return answers;
}

}
