#include "app/recording/answer_line.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

using app::asWord;
using app::wordsOfLine;

TEST(AnswerLine, hasPlainWordsAsTheyAre)
{
    EXPECT_EQ(asWord("/mnt/disk1"), "/mnt/disk1");
}

TEST(AnswerLine, quotesWhatWouldNotBeOneWord)
{
    EXPECT_EQ(asWord(""), R"("")");
    EXPECT_EQ(asWord("my disk"), R"("my disk")");
    EXPECT_EQ(asWord("a\"b\\c"), R"("a\"b\\c")");
    EXPECT_EQ(asWord("a\nb\x7F"), R"("a\012b\177")");
}

TEST(AnswerLine, isReadAsItWasWritten)
{
    for (std::string const& text : {std::string("plain"), std::string(), std::string(" a  b "),
             std::string("\"\\\n\t\0\x1F\xFF\xC3\xA4", 10)})
        EXPECT_EQ(
            wordsOfLine("x " + asWord(text) + " y"), (std::vector<std::string>{"x", text, "y"}));
}

TEST(AnswerLine, isRefusedWhereAQuotationIsWrong)
{
    for (char const* const line : {R"(a "b)", R"("a\")", R"("a\9")", R"("a\01)", R"("a\n")"})
        EXPECT_THROW(wordsOfLine(line), std::runtime_error) << line;
}

TEST(AnswerLine, namesErrors)
{
    EXPECT_EQ(app::errorName(EACCES), "EACCES");
    EXPECT_EQ(app::errorNumber("ENOMEDIUM"), ENOMEDIUM);
    EXPECT_EQ(app::errorNumber("5"), 0);
}
