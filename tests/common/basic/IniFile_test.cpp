// Parsing. ini_lookup_test.cpp tests look-ups, ini_source_test.cpp kinds of files.

#include "tests/common/basic/locale_scope.h"
#include "tests/common/basic/parse_ini.h"
#include "tests/common/basic/string_fields.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

using dovrel::IniFile;
using dovrel::string;
using namespace std::string_view_literals;

namespace {

/** @return all entries of a file, a line `[section]key=value` each, in IniFile's order. */
std::string entriesOf(std::string_view text)
{
    IniFile const file = parseIni(text);
    std::string entries;
    for (string const& section : file.ReadSectionNames())
        for (string const& value : file.ReadSectionValues(section))
            entries += '[' + narrow(section) + ']' + narrow(value) + '\n';
    return entries;
}

/** @return the value of the line "k=" + @p text. */
std::string valueOf(std::string const& text)
{
    return narrow(parseIni("k=" + text).ReadString(L"", L"k", L"(none)"));
}

}

TEST(IniFile, keepsValuesBySectionAndKey)
{
    EXPECT_EQ(entriesOf("[Main]\nStatus=5000\nUser=root\n[RestoreStatus]\nTotalFiles=200\n"),
        "[Main]Status=5000\n[Main]User=root\n[RestoreStatus]TotalFiles=200\n");
}

TEST(IniFile, keepsEntriesBeforeTheFirstHeadingInTheUnnamedSection)
{
    EXPECT_EQ(entriesOf("k=1\n[Main]\nk=2\n"), "[]k=1\n[Main]k=2\n");
}

TEST(IniFile, isEmptyWhenTheFileHasNoAssignment)
{
    for (std::string_view text :
        {""sv, "\n"sv, "\n\n\r\n \t\n"sv, "[Main]\n"sv, "[Main"sv, "words\n"sv, ";\n;k=1\n"sv})
        EXPECT_EQ(parseIni(text).size(), 0U) << text;
}

TEST(IniFile, cutsALineAtItsFirstSemicolon)
{
    EXPECT_EQ(entriesOf("; k=0\n  ;k=0\nk = \"a b\" ; note\n"), "[]k=a b\n");
    EXPECT_EQ(valueOf("x;y"), "x");
    EXPECT_EQ(valueOf("x;y;z"), "x");
    EXPECT_EQ(valueOf(";"), "");
    EXPECT_EQ(entriesOf("k;=1\n"), "");
    EXPECT_EQ(entriesOf("[Main ; the first]\nk=1\n"), "[Main]k=1\n");
}

TEST(IniFile, cutsALineAtASemicolonInsideQuotesKept)
{
    EXPECT_EQ(valueOf("\"a;b\""), "\"a");
    EXPECT_EQ(valueOf("a\\;b"), "a\\");
    EXPECT_EQ(valueOf("\";\""), "");
}

TEST(IniFile, doesNotSupportHashCommentsOrLineContinuation)
{
    EXPECT_EQ(entriesOf("# k=1\n"), "[]# k=1\n");
    EXPECT_EQ(valueOf("1 # one"), "1 # one");
    EXPECT_EQ(entriesOf("k=a\\\nb=2\n  c=3\n"), "[]b=2\n[]c=3\n[]k=a\\\n");
}

TEST(IniFile, trimsBlanksAndTabsAtBothEnds)
{
    EXPECT_EQ(entriesOf(" \t[ \tMain \t] \t\n \t k \t=\t a  b \t \n"), "[Main]k=a  b\n");
}

TEST(IniFile, doesNotTrimVerticalTabsOrFormFeeds)
{
    EXPECT_EQ(entriesOf("\vk\f=\fv\v\n"), "[]\vk\f=\fv\v\n");
}

TEST(IniFile, ignoresACarriageReturnBeforeANewline)
{
    EXPECT_EQ(entriesOf("[Main]\r\nk=\"1\"\r\nl=2 ; two\r\nm=\r\n\r\n"),
        "[Main]k=1\n[Main]l=2\n[Main]m=\n");
    EXPECT_EQ(entriesOf("k=1\rl=2\r"), "[]k=1\rl=2\n");
}

TEST(IniFile, readsTheLastLineWithoutANewline)
{
    EXPECT_EQ(entriesOf("k=1\nl=2"), "[]k=1\n[]l=2\n");
    EXPECT_EQ(entriesOf("[Main]\nk="), "[Main]k=\n");
}

TEST(IniFile, removesOnePairOfQuotes)
{
    EXPECT_EQ(valueOf("\"a\""), "a");
    EXPECT_EQ(valueOf("'a'"), "a");
    EXPECT_EQ(valueOf("\"\"a\"\""), "\"a\"");
    EXPECT_EQ(valueOf("\"'a'\""), "'a'");
    EXPECT_EQ(valueOf("\" a \""), " a ");
    EXPECT_EQ(valueOf("\"a\" and \"b\""), "a\" and \"b");
    EXPECT_EQ(valueOf("\"\""), "");
    EXPECT_EQ(valueOf("''"), "");
}

TEST(IniFile, keepsUnpairedQuotes)
{
    EXPECT_EQ(valueOf("\"a'"), "\"a'");
    EXPECT_EQ(valueOf("\"a"), "\"a");
    EXPECT_EQ(valueOf("a'"), "a'");
    EXPECT_EQ(valueOf("\"a\" b"), "\"a\" b");
    EXPECT_EQ(valueOf("`a`"), "`a`");
    EXPECT_EQ(entriesOf("\"k\"='v'\n[\"s\"]\nk=1\n"), "[]\"k\"=v\n[\"s\"]k=1\n");
}

TEST(IniFile, readsALoneQuoteAsAnEmptyValue)
{
    EXPECT_EQ(valueOf("'"), "");
    EXPECT_EQ(valueOf("\""), "");
    EXPECT_EQ(valueOf("'''"), "'");
}

TEST(IniFile, endsAHeadingAtItsFirstClosingBracket)
{
    EXPECT_EQ(entriesOf("[Main] and more = x\nk=1\n"), "[Main]k=1\n");
    EXPECT_EQ(entriesOf("[a]b]\nk=1\n"), "[a]k=1\n");
    EXPECT_EQ(entriesOf("[[a]]\nk=1\n"), "[[a]k=1\n");
    EXPECT_EQ(entriesOf("[a=b]\nk=1\n"), "[a=b]k=1\n");
}

TEST(IniFile, endsAnUnclosedHeadingAtTheEndOfTheLineKept)
{
    EXPECT_EQ(entriesOf("[Main\nk=1\n"), "[Main]k=1\n");
    EXPECT_EQ(entriesOf("[ a = b \r\nk=1\n"), "[a = b]k=1\n");
    EXPECT_EQ(entriesOf("[Main ; ]\nk=1\n"), "[Main]k=1\n");
}

TEST(IniFile, returnsToTheUnnamedSectionAtAnEmptyHeading)
{
    for (std::string const heading : {"[]", "[", "[ \t]", "[ ", "[;]"})
        EXPECT_EQ(entriesOf("[Main]\nk=1\n" + heading + "\nl=2\n"), "[]l=2\n[Main]k=1\n")
            << heading;
}

TEST(IniFile, acceptsAHeadingOnlyAtTheStartOfALine)
{
    EXPECT_EQ(entriesOf("]x=1\nx[=2\nwords [Main]\nk=1\n"), "[]]x=1\n[]k=1\n[]x[=2\n");
}

TEST(IniFile, splitsALineAtItsFirstEqualsSign)
{
    EXPECT_EQ(valueOf("a=b"), "a=b");
    EXPECT_EQ(valueOf("="), "=");
    EXPECT_EQ(entriesOf("=v\n"), "[]=v\n");
    EXPECT_EQ(entriesOf("=\n"), "[]=\n");
    EXPECT_EQ(entriesOf("k=\n"), "[]k=\n");
    EXPECT_EQ(entriesOf("?t="), "[]?t=\n");
    EXPECT_EQ(entriesOf("k\n: k\nk:1\n"), "");
}

TEST(IniFile, keepsTheFirstAssignmentOfAKeyKept)
{
    EXPECT_EQ(entriesOf("[a]\nk=1\nk=2\n"), "[a]k=1\n");
    EXPECT_EQ(entriesOf("[a]\nk=\nk=2\n"), "[a]k=\n");
    EXPECT_EQ(entriesOf("[a]\nk=1\n[b]\nk=2\n[a]\nk=3\nl=4\n"), "[a]k=1\n[a]l=4\n[b]k=2\n");
}

TEST(IniFile, keepsTheFirstAssignmentAmongManyKeys)
{
    for (std::string const& key : {std::string("k"), std::string()})
        for (int const others : {10, 100, 1000}) {
            SCOPED_TRACE('"' + key + "\" and others: " + std::to_string(others));
            std::string text = key + "=\n" + key + "=2\n";
            for (int i = 0; i < others; ++i)
                text += 'x' + std::to_string(i) + "=3\n";
            EXPECT_EQ(narrow(parseIni(text).ReadString(L"", key, L"none")), "");
            EXPECT_EQ(narrow(parseIni(text + key + "=4\n").ReadString(L"", key, L"none")), "");
        }
}

TEST(IniFile, ignoresCaseInKeysAndSections)
{
    EXPECT_EQ(entriesOf("[Main]\nKey=1\nkEY=2\n"), "[Main]Key=1\n");
    IniFile const file = parseIni("[Main]\nKey=1\n[MAIN]\nkEY=2\n");
    EXPECT_EQ(file.size(), 1U);
    EXPECT_EQ(narrow(file.ReadString(L"maiN", L"KEY", L"")), "1");
}

TEST(IniFile, endsNamesAndValuesAtTheFirstZeroByte)
{
    EXPECT_EQ(entriesOf("a\0b=c\nk=x\0y\n[s\0t]\nm=1\n"sv), "[]a=c\n[]k=x\n[s]m=1\n");
    EXPECT_EQ(entriesOf("\0k=v\n"sv), "[]=v\n");
    EXPECT_EQ(entriesOf("k=\"a\0\"\n"sv), "[]k=a\n");
    EXPECT_EQ(entriesOf("k=1\nk\0\0=2\n"sv), "[]k=1\n");
    EXPECT_EQ(entriesOf("k=1\n\0\0\0\0"sv), "[]k=1\n");
}

TEST(IniFile, treatsAByteOrderMarkAsPartOfTheFirstLine)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(entriesOf("\xEF\xBB\xBF[Main]\nk=1\n"), "[]k=1\n");
    EXPECT_EQ(entriesOf("\xEF\xBB\xBFk=1\n"), "[]\xEF\xBB\xBFk=1\n");
}

TEST(IniFile, decodesTheFileInTheLocalesEncoding)
{
    {
        LocaleScope const locale("C.UTF-8");
        IniFile const file =
            parseIni("[Gr\xC3\xB6\xC3\x9F\x65]\nL\xC3\xA4nge=5 \xE2\x82\xAC \xF0\x9F\x98\x80\n");
        EXPECT_EQ(file.ReadString(L"Gr\u00F6\u00DFe", L"L\u00E4nge", L""),
            string(L"5 \u20AC \U0001F600"));
    }
    LocaleScope const locale("ISO-8859-1");
    IniFile const file = parseIni("[Gr\xF6\xDF\x65]\nL\xE4nge=5 \xA4\n");
    EXPECT_EQ(file.ReadString(L"Gr\u00F6\u00DFe", L"L\u00E4nge", L""), string(L"5 \u00A4"));
}

TEST(IniFile, foldsCaseAsTheLocaleDoes)
{
    {
        LocaleScope const locale("C.UTF-8");
        IniFile const file = parseIni("\xC3\x84=1\n\xC3\xA4=2\n");
        EXPECT_EQ(file.size(), 1U);
        EXPECT_EQ(file.ReadInt(L"", L"\u00E4", 0), 1);
    }
    // The build's ISO-8859-1 locale defines no case for these letters.
    LocaleScope const locale("ISO-8859-1");
    IniFile const file = parseIni("\xC4=1\n\xE4=2\n");
    EXPECT_EQ(file.size(), 2U);
    EXPECT_EQ(file.ReadInt(L"", L"\u00E4", 0), 2);
    EXPECT_EQ(file.ReadInt(L"", L"\u00C4", 0), 1);
}

TEST(IniFile, replacesUndecodableStringsWithQuestionMarks)
{
    LocaleScope const locale("C.UTF-8");
    EXPECT_EQ(entriesOf("k\xFF=1\nl=\xC3\nm=a\xC0\xAF\n"), "[]?\?=1\n[]l=?\n[]m=?\?\?\n");
    EXPECT_EQ(entriesOf("\xFF\xFE=1\n\xFD\xFC=2\n"), "[]?\?=1\n");
}

TEST(IniFile, splitsLinesAtNewlineBytesInEveryEncodingKept)
{
    LocaleScope const locale("SHIFT_JIS");
    // 0x5C is a yen sign in this encoding; the delimiters are the same as in ASCII.
    EXPECT_EQ(parseIni("k=\\\n").ReadString(L"", L"k", L""), string(L"\u00A5"));
}
