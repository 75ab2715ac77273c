#include "app/write/TextTable.h"
#include "app/write/display.h"
#include "tests/app/LocaleFor.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using app::broken;
using app::FactList;
using app::Layout;
using app::TextTable;
using app::wrapped;
using app_test::LocaleFor;
using app_test::terminal;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

/** 31 columns wide: the first one is always shown, the others go in the order C, D, B. */
TextTable wideTable(size_t enough = 0)
{
    TextTable table({{"NAME", app::LEFT, app::ALWAYS, enough}, {"BBBB", app::RIGHT, 50},
        {"CCCC", app::LEFT, 20}, {"DDDD", app::LEFT, 20}});
    table.addRow({"a-name-of-16-col", "1", "2", "3"});
    return table;
}

Layout withoutHeadings(size_t columns = 0)
{
    Layout layout = terminal(columns);
    layout.headings = false;
    return layout;
}

}

TEST(TextTable, alignsNumbersToTheRightByDisplayWidth)
{
    LocaleFor const utf8("C.UTF-8");
    TextTable table({{"Ort"}, {"Größe", app::RIGHT}, {""}});
    table.addRow({"日本", "1", "x"});
    table.addRow({"Zürich", "1000000"});

    EXPECT_EQ(table.text({}),
        "Ort       Größe\n"
        "日本          1  x\n"
        "Zürich  1000000\n");
}

TEST(TextTable, withoutRowsIsItsHeading)
{
    EXPECT_EQ(TextTable({{"CPU", app::RIGHT}}).text({}), "CPU\n");
    EXPECT_EQ(TextTable({{"CPU", app::RIGHT}}).text(withoutHeadings()), "");
}

TEST(TextTable, givesItsRowsWithoutItsHeading)
{
    TextTable table({{""}, {"wide", app::RIGHT}});
    EXPECT_THAT(table.rows({}), IsEmpty());
    table.addRow({"a\x1B", "1"});
    table.addRow({"b"});

    EXPECT_THAT(table.rows({}), ElementsAre("a?  1", "b"));
    EXPECT_EQ(table.text(withoutHeadings()), "a?  1\nb\n") << "a heading takes no room either";
}

TEST(TextTable, isWholeOnATerminalThatIsWideEnough)
{
    std::string const whole = "NAME              BBBB  CCCC  DDDD\n"
                              "a-name-of-16-col     1  2     3\n";

    EXPECT_EQ(wideTable().text({}), whole) << "a pipe has no width";
    EXPECT_EQ(wideTable().text(terminal(34)), whole);
    EXPECT_EQ(wideTable(8).text(terminal(34)), whole);
}

TEST(TextTable, leavesOutTheLeastImportantColumnsAndNamesThem)
{
    EXPECT_EQ(wideTable().text(terminal(33)),
        "NAME              BBBB  CCCC\n"
        "a-name-of-16-col     1  2\n"
        "Left out: DDDD.\n")
        << "of two that are as important the last one goes";
    EXPECT_EQ(wideTable().text(terminal(27)),
        "NAME              BBBB\n"
        "a-name-of-16-col     1\n"
        "Left out: CCCC, DDDD.\n");
    EXPECT_EQ(wideTable().text(terminal(21)),
        "NAME\n"
        "a-name-of-16-col\n"
        "Left out: BBBB, CCCC,\n"
        "DDDD.\n");
}

TEST(TextTable, cutsTheFirstColumnWhereNoOtherIsLeft)
{
    EXPECT_EQ(wideTable().text(terminal(15)),
        "NAME\n"
        "a-name-of-16-c~\n"
        "Left out: BBBB,\n"
        "CCCC, DDDD.\n"
        "Cut: NAME.\n");
    EXPECT_EQ(wideTable().rows(terminal(2)), std::vector<std::string>{"a-name-~"})
        << "a name keeps eight columns";
}

TEST(TextTable, cutsAColumnThatSaysSoBeforeItLeavesOutOthers)
{
    EXPECT_EQ(wideTable(10).text(terminal(30)),
        "NAME          BBBB  CCCC  DDDD\n"
        "a-name-of-1~     1  2     3\n"
        "Cut: NAME.\n");
    EXPECT_EQ(wideTable(10).text(terminal(27)),
        "NAME             BBBB  CCCC\n"
        "a-name-of-16-c~     1  2\n"
        "Left out: DDDD. Cut: NAME.\n")
        << "no more than the rest needs";

    TextTable table({{"NAME", app::LEFT, app::ALWAYS, 10}, {"SOURCE"}});
    table.addRow({"a-name-of-16-col", "a-source-of-18-col"});
    EXPECT_EQ(table.rows(terminal(30)).front(), "a-name-of~  a-source-of-18-col")
        << "before others are cut";
}

TEST(TextTable, cutsTheWidestOfTheColumnsThatStay)
{
    TextTable table({{"NAME"}, {"SIZE", app::RIGHT}, {"MODEL"}});
    table.addRow({"a-name-of-16-col", "1000000000", "a-model-of-17-col"});

    EXPECT_EQ(table.text(terminal(40)),
        "NAME                 SIZE  MODEL\n"
        "a-name-of-16~  1000000000  a-model-of-1~\n"
        "Cut: NAME, MODEL.\n");
}

TEST(TextTable, givesOnlyRowsWithoutHeadings)
{
    EXPECT_EQ(wideTable().text(withoutHeadings()), "a-name-of-16-col  1  2  3\n");
    EXPECT_EQ(wideTable().text(withoutHeadings(22)), "a-name-of-16-col  1  2\n")
        << "nothing below the table says what is left out";
}

TEST(TextTable, doesNotNameAColumnThatHasNoHeading)
{
    TextTable table({{"NAME"}, {"", app::LEFT, 10}});
    table.addRow({"sda", "##########"});

    EXPECT_EQ(table.text(terminal(10)), "NAME\nsda\n");
}

TEST(TextTable, isABlockARowWhereTheColumnsThatStayAreTooMany)
{
    TextTable table({{"NAME"}, {"ADDRESS", app::WHOLE}, {"TYPE", app::LEFT, 10}, {""}});
    table.addRow({"eth0", "192.0.2.1/24", "x", ""});
    table.addRow({"", "2001:db8:0:1::1/64", "x"});
    table.addRow({"lo", "none", "x"});

    EXPECT_EQ(table.text(terminal(20)),
        "NAME: eth0\n"
        "ADDRESS:\n"
        "  192.0.2.1/24\n"
        "ADDRESS:\n"
        "  2001:db8:0:1::1/64\n"
        "\n"
        "NAME: lo\n"
        "ADDRESS: none\n"
        "Left out: TYPE.\n")
        << "a row without a name belongs to the one above";
    EXPECT_EQ(table.text(terminal(12)),
        "NAME: eth0\n"
        "ADDRESS:\n"
        "  192.0.2.1~\n"
        "ADDRESS:\n"
        "  2001:db8:~\n"
        "\n"
        "NAME: lo\n"
        "ADDRESS:\n"
        "  none\n"
        "Left out:\n"
        "TYPE. Cut:\n"
        "ADDRESS.\n");
    EXPECT_EQ(
        table.text(withoutHeadings(20)), "eth0\n192.0.2.1/24\n2001:db8:0:1::1/64\n\nlo\nnone\n");
    EXPECT_EQ(table.text(terminal(26)).substr(0, 13), "NAME  ADDRESS") << "where it fits";
}

TEST(TextTable, isABlockARowWhereItsOnlyColumnIsTooWideAndNotCut)
{
    TextTable table({{"SIZE", app::RIGHT}});
    table.addRow({"16000900661248"});

    EXPECT_EQ(table.text(terminal(12)), "SIZE:\n  160009006~\nCut: SIZE.\n");
    EXPECT_EQ(table.text(terminal(14)), "          SIZE\n16000900661248\n");
}

TEST(TextTable, colorsTheLabelsOfItsBlocks)
{
    Layout layout = terminal(16);
    layout.colors = true;
    TextTable table({{"NAME"}, {"MAC", app::WHOLE}});
    table.addRow({"eth0", "02:00:5e:10:00:01"});

    EXPECT_EQ(table.text(layout),
        "\x1B[1mNAME:\x1B[0m eth0\n\x1B[1mMAC:\x1B[0m\n  02:00:5e:10:0~\nCut: MAC.\n");
}

TEST(TextTable, colorsItsHeading)
{
    Layout layout;
    layout.colors = true;

    EXPECT_EQ(TextTable({{"CPU"}}).text(layout), "\x1B[1mCPU\x1B[0m\n");
}

TEST(TextTable, isNeverWiderThanTheTerminal)
{
    LocaleFor const utf8("C.UTF-8");
    TextTable table({{"NAME"}, {"NUMBER", app::RIGHT, 30}, {"MODEL", app::LEFT, 20}});
    table.addRow({"日本語日本語日本語", "1", "e\xCC\x81tude"});
    for (size_t columns = 10; columns <= 60; ++columns)
        for (std::string const& row : table.rows(terminal(columns)))
            EXPECT_LE(app::displayWidth(row), columns) << row;
}

TEST(FactList, putsAValueBelowItsLabelWhereAWordHasNoRoomBehindIt)
{
    FactList facts("SYSTEM");
    facts.add("Host name", "vault1");
    facts.add("Kernel", "5.14.0-427.el9");

    EXPECT_EQ(facts.text(terminal(20)),
        "SYSTEM\n"
        "Host name  vault1\n"
        "Kernel\n"
        "  5.14.0-427.el9\n");
    EXPECT_EQ(facts.text(terminal(25)),
        "SYSTEM\n"
        "Host name  vault1\n"
        "Kernel     5.14.0-427.el9\n");
}

TEST(FactList, breaksLabelsAndValuesThatAreWiderThanTheTerminal)
{
    FactList facts("SYSTEM");
    facts.add("Operating system", "Debian");
    facts.add("Kernel", "5.14.0-427.el9");

    EXPECT_EQ(facts.text(terminal(10)),
        "SYSTEM\n"
        "Operating\n"
        "system\n"
        "  Debian\n"
        "Kernel\n"
        "  5.14.0-4\n"
        "  27.el9\n");
}

TEST(Wrapped, breaksAtBlanksAndIndentsTheOtherLines)
{
    EXPECT_THAT(wrapped("one two three four", terminal(10), 0, 2),
        ElementsAre("one two", "  three", "  four"));
    EXPECT_THAT(wrapped("one two", terminal(9), 2, 4), ElementsAre("  one two"));
    EXPECT_THAT(wrapped("one two", terminal(8), 2, 4), ElementsAre("  one", "    two"));
}

TEST(Wrapped, breaksAWordThatIsLongerThanALine)
{
    EXPECT_THAT(wrapped("a /a/very/long/path b", terminal(8), 0, 2),
        ElementsAre("a", "  /a/ver", "  y/long", "  /path", "  b"));
    EXPECT_THAT(
        wrapped("/a/very/long/path", terminal(8), 0, 2), ElementsAre("/a/very/", "long/pat", "h"));
}

TEST(Broken, losesNoBlankAndKeepsTheIndentation)
{
    EXPECT_THAT(broken("  \"a   b\"", terminal(6)), ElementsAre("  \"a  ", "   b\""));
    EXPECT_THAT(
        broken("          deep", terminal(8)), ElementsAre("        ", "      de", "    ep"));
    EXPECT_THAT(broken("short", terminal(5)), ElementsAre("short"));
    EXPECT_THAT(broken("", terminal(5)), ElementsAre(""));
    EXPECT_THAT(broken(std::string(300, 'x'), Layout()), ElementsAre(std::string(300, 'x')));
}

TEST(Broken, doesNotCutThroughACharacter)
{
    LocaleFor const utf8("C.UTF-8");
    EXPECT_THAT(broken("日本語e\xCC\x81", terminal(5)), ElementsAre("日本", "語e\xCC\x81"));
    EXPECT_THAT(broken("日本", terminal(1)), ElementsAre("日本")) << "which has no room at all";
}

TEST(Wrapped, isOneLineInAPipeAndNoneWithoutWords)
{
    EXPECT_THAT(wrapped(std::string(300, 'x') + " y", Layout(), 2, 4),
        ElementsAre("  " + std::string(300, 'x') + " y"));
    EXPECT_THAT(wrapped("", terminal(80), 0, 0), IsEmpty());
}
