// IniFile and reference::Ini read generated files.

#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/parse_ini.h"
#include "tests/common/basic/random_below.h"
#include "tests/reference/ini.h"

#include <gtest/gtest.h>

#include <iterator>
#include <random>
#include <string>

namespace {

/** Makes files of few names and all delimiters, so that names repeat. */
class FileMaker {
public:
    explicit FileMaker(unsigned seed) : m_random(seed) { }

    std::string make()
    {
        std::string text;
        for (unsigned left = below(60); left > 0; --left)
            text += line() + (below(8) == 0 ? "\r\n" : "\n");
        if (below(3) == 0)
            text += line();
        return text;
    }

private:
    unsigned below(unsigned bound) { return testkit::below(m_random, bound); }

    template <size_t N> std::string oneOf(std::string const (&choices)[N])
    {
        return choices[below(N)];
    }

    std::string blanks() { return oneOf({"", "", "", " ", "\t", " \t ", "\r", "\v"}); }

    std::string name()
    {
        return oneOf({"a", "A", "b", "B", "ab", "aB", "a b", "", "_", "Z", "z", "k1", "K1", "k10",
            "main", "Main", "MAIN", "a name that is long", "A NAME that is long", "\xC3\xA4",
            "\xC3\x84", "\xE4", "\xC4", "\xEF\xBF\xBD", "\xF0\x9F\x98\x80", "\xFF",
            std::string("a\0b", 3), "\xC4\xB0", "\xE1\xBA\x9E", "\xF0\x90\x90\x80",
            "\xF0\x90\x90\xA8"});
    }

    std::string value()
    {
        std::string const quote = oneOf({"", "", "\"", "'", "\"\"", "'\""});
        return quote + blanks() + name() + oneOf({"", "=", ";", "[", "]", "\"", "'"}) + name()
            + (below(4) == 0 ? "" : quote);
    }

    std::string line()
    {
        switch (below(8)) {
        case 0:
        case 1:
            return blanks() + '[' + blanks() + name() + blanks() + oneOf({"]", "]", "]", "", "]]"})
                + blanks() + oneOf({"", "", "", "; c", "x=1"});
        case 2:
            return noise();
        default:
            return blanks() + name() + blanks() + '=' + blanks() + value() + blanks();
        }
    }

    std::string noise()
    {
        std::string text;
        for (unsigned left = below(12); left > 0; --left)
            text += oneOf({"[", "]", "=", ";", "\"", "'", " ", "\t", "a", "A", "\xC3", "\xA4",
                std::string(1, '\0'), "\r"});
        return text;
    }

    std::mt19937 m_random;
};

void expectNoDifference(std::string const& text)
{
    dovrel::IniFile const file = parseIni(text);
    ASSERT_EQ(file.savedError(), 0);
    ASSERT_EQ(reference::Ini(text).differenceFrom(file), "") << testing::PrintToString(text);
}

}

TEST(ReferenceIni, agreesWithIniFileOnGeneratedFilesInEveryLocale)
{
    size_t entries = 0;
    for (char const* const name : {"C", "C.UTF-8", "ISO-8859-1", "SHIFT_JIS"}) {
        SCOPED_TRACE(name);
        LocaleScope const locale(name);
        FileMaker maker(20240611);
        for (int i = 0; i < 250; ++i) {
            std::string const text = maker.make();
            entries += reference::Ini(text).size();
            ASSERT_NO_FATAL_FAILURE(expectNoDifference(text)) << "file " << i;
        }
    }
    EXPECT_GT(entries, 8'000U) << "the files have too few entries";
}

TEST(ReferenceIni, reportsEveryKindOfDifference)
{
    auto const difference = [](std::string const& text, std::string const& other) {
        return reference::Ini(text).differenceFrom(parseIni(other));
    };
    EXPECT_EQ(difference("[s]\nk=1\n", "[s]\nk=1\n"), "");
    EXPECT_EQ(difference("k=1\n", ""), "there are 0 entries, expected 1");
    EXPECT_EQ(difference("k=1\n", "l=1\n"), "not found: [] k");
    EXPECT_EQ(difference("k=1\n", "k=2\n"), "[] k is 2, expected 1");
    EXPECT_EQ(difference("[s]\nk=1\n", "[S]\nk=1\n"), "the section names differ");
    EXPECT_EQ(difference("[s]\nk=1\n", "[s]\nK=1\n"), "the entries or their order differ: [s]");
}
