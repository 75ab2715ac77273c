// A line of a recording is refused with a message, or is an answer. Its words are the same after
// they were written as a line.

#include "app/recording/Answers.h"
#include "app/recording/answer_line.h"
#include "fuzz/expect.h"
#include "tests/reference/text.h"

#include <stdexcept>

using fuzz::expect;

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size)
{
    app::Answers answers;
    for (std::string const& line : reference::lines({reinterpret_cast<char const*>(data), size})) {
        std::vector<std::string> words;
        try {
            words = app::wordsOfLine(line);
            app::addAnswer(line, answers);
        } catch (std::runtime_error const& error) {
            expect(*error.what() != '\0');
        }
        std::string written;
        for (std::string const& word : words)
            written += (written.empty() ? "" : " ") + app::asWord(word);
        expect(app::wordsOfLine(written) == words);
        expect(app::wordsOfLine(app::asWord(line)) == std::vector<std::string>{line});
    }
    return 0;
}
