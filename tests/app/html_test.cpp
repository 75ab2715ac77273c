#include "app/write/html.h"

#include "app/write/html_style.h"
#include "app/write/html_text.h"
#include "tests/app/LocaleFor.h"
#include "tests/app/Program.h"
#include "tests/app/known_machine.h"
#include "tests/page/Page.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <sstream>

using app::Machine;
using app::Subject;
using app_test::diskOf;
using app_test::failureOf;
using app_test::jsonOf;
using app_test::knownMachine;
using app_test::mountOf;
using page::Element;
using page::Page;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

std::string htmlTextOf(Machine const& machine)
{
    std::ostringstream out;
    app::writeHtml(machine, out);
    return out.str();
}

Page pageOf(Machine const& machine)
{
    return Page(htmlTextOf(machine));
}

/** @return the texts of all elements of a tag below one. */
std::vector<std::string> textsIn(Element const& element, std::string const& tag)
{
    std::vector<std::string> texts;
    for (auto const& child : element.children) {
        if (child->tag == tag)
            texts.push_back(child->text);
        for (std::string& text : textsIn(*child, tag))
            texts.push_back(std::move(text));
    }
    return texts;
}

/** @return the element with the value of a fact. */
Element const& factOn(Page const& page, std::string const& key)
{
    for (Element const* const element : page.all())
        if (element->attribute("data-key") == key)
            return *element;
    throw std::runtime_error("no fact " + key);
}

/** Two mirrored disks, each with the same partition of a mirror that is mounted. */
Machine mirroredMachine()
{
    Machine machine = knownMachine({Subject::DISKS, Subject::MOUNTS});
    machine.disks->clear();
    for (std::string const name : {"sda", "sdb"}) {
        machine.disks->push_back(diskOf(name));
        app::Disk partition = diskOf(name + "1");
        partition.type = app::Disk::PARTITION;
        partition.parent = name;
        machine.disks->push_back(partition);
    }
    app::Disk mirror = diskOf("md0");
    mirror.type = app::Disk::RAID;
    mirror.raidLevel = "raid1";
    mirror.slaves = {"sda1", "sdb1"};
    machine.disks->push_back(mirror);
    machine.mounts = {mountOf("/", 75)};
    machine.mounts->front().device = "md0";
    return machine;
}

/** @return the names in the rows of a picture of devices. */
std::vector<std::string> rowsIn(Element const& picture)
{
    std::vector<std::string> names;
    for (auto const& group : picture.children)
        if (group->tag == "g")
            names.push_back(textsIn(*group, "title").front());
    return names;
}

}

TEST(HtmlPage, hasTheFactsOfJson)
{
    Machine machine = knownMachine();
    machine.memory->free = 0;
    machine.recovery->megabytesDone = 3;
    machine.recovery->megabytesTotal = 30;
    machine.recovery->recoverStart = 1774346400;

    Page const page = pageOf(machine);

    EXPECT_THAT(page::differencesFromJson(page, jsonOf(machine)), IsEmpty());
    EXPECT_EQ(factOn(page, "memory.total_bytes").attribute("value"), "17179869184");
    EXPECT_EQ(factOn(page, "memory.total_bytes").text, "16.0 GiB");
    EXPECT_EQ(factOn(page, "memory.free_bytes").attribute("value"), "0");
    EXPECT_EQ(factOn(page, "disks.0.size_bytes").text, "1.0 TiB");
    EXPECT_EQ(factOn(page, "mounts.0.used_ratio").attribute("value"), "0.75");
    EXPECT_EQ(factOn(page, "mounts.0.used_ratio").text, "75.0 %");
    EXPECT_EQ(factOn(page, "processors.list.1.highest_hertz").text, "10400");
    EXPECT_EQ(factOn(page, "system.uptime_seconds").text, "1 day 1:01");
}

TEST(HtmlPage, namesTheDevicesBeneathLikeTheTable)
{
    Machine machine = mirroredMachine();
    machine.disks->at(1).label = "backup-a";

    Page const page = pageOf(machine);

    EXPECT_EQ(factOn(page, "disks.4.slaves.0").text, "backup-a");
    EXPECT_EQ(factOn(page, "disks.4.slaves.0").attribute("value"), "sda1");
}

TEST(HtmlPage, isWellFormedForEachSubjectAlone)
{
    for (Subject const subject : app_test::allSubjects()) {
        SCOPED_TRACE(static_cast<int>(subject));
        Machine machine = knownMachine({subject});
        Page const read = pageOf(machine);
        EXPECT_THAT(page::differencesFromJson(read, jsonOf(machine)), IsEmpty());
        EXPECT_THAT(textsIn(read.root(), "h2"), testing::SizeIs(1));

        Machine unread;
        unread.subjects = {subject};
        unread.problems = {failureOf(subject)};
        Page const page = pageOf(unread);
        EXPECT_THAT(textsIn(page.root(), "p"), testing::Contains("could not be read"));
        EXPECT_THAT(textsIn(page.root(), "h2").front(), "Problems");
    }
}

TEST(HtmlPage, hasNullAsADashWithoutAValue)
{
    Machine machine = knownMachine();
    machine.memory->swapTotal = 0;
    Page const page = pageOf(machine);

    Element const& unknown = factOn(page, "memory.buffers_bytes");
    EXPECT_EQ(unknown.text, "-");
    EXPECT_EQ(unknown.attributes.count("value"), 0U);
    EXPECT_EQ(unknown.attribute("title"), "unknown");
    Element const& none = page.withId("memory");
    EXPECT_THAT(textsIn(none, "data"), testing::Contains("none")) << "no swap is known";
}

TEST(HtmlPage, escapesTheNamesOfTheMachine)
{
    Machine machine = knownMachine({Subject::DISKS, Subject::MOUNTS});
    std::string const script = "<script>alert(1)</script>";
    std::string const image = "\"><img src=x>";
    machine.disks->front().model = script;
    machine.mounts->front().mountPoint = image;
    machine.differences = {{Subject::MOUNTS, image, "", std::nullopt, script}};
    machine.problems = {{Subject::DISKS, "the disks", script, image}};

    std::string const text = htmlTextOf(machine);

    EXPECT_THAT(text, AllOf(Not(HasSubstr("<script")), Not(HasSubstr("<img"))));
    Page const page(text);
    EXPECT_EQ(factOn(page, "disks.0.model").text, script);
    EXPECT_EQ(factOn(page, "mounts.0.mount_point").text, image);
    EXPECT_THAT(page::differencesFromJson(page, jsonOf(machine)), IsEmpty());
}

TEST(HtmlPage, replacesWhatIsNoTextInEveryLocale)
{
    for (char const* const locale : {"C", "C.UTF-8"}) {
        app_test::LocaleFor const set(locale);
        EXPECT_EQ(app::escapedHtml("Z\xFCrich \x1B[2J\x7F\xC2\x9B\x01"),
            "Z\xEF\xBF\xBDrich \xEF\xBF\xBD[2J\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
        EXPECT_EQ(app::escapedHtml(std::string("a\0b", 3)),
            "a\xEF\xBF\xBD"
            "b");
        EXPECT_EQ(app::escapedHtml("Z\xC3\xBCrich \xE2\x82\xAC \xF0\x9F\x96\xB4"),
            "Z\xC3\xBCrich \xE2\x82\xAC \xF0\x9F\x96\xB4");
        EXPECT_EQ(app::escapedHtml("a\xE2\x80\xAE"
                                   "b\xE2\x81\xA6"
                                   "c\xEF\xBF\xBF"),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD"
            "c\xEF\xBF\xBD")
            << "directions, and a code that is no character";
        EXPECT_EQ(app::escapedHtml("\xE2\x82"), "\xEF\xBF\xBD\xEF\xBF\xBD") << "cut short";
        EXPECT_EQ(app::escapedHtml("<&>\"'"), "&lt;&amp;&gt;&quot;&#39;");
        EXPECT_THAT(
            htmlTextOf(knownMachine()), Not(testing::ContainsRegex("[\x01-\x09\x0B-\x1F\x7F]")));
    }
}

TEST(HtmlPage, beginsWithTheProblems)
{
    Machine machine = knownMachine();
    EXPECT_THAT(textsIn(pageOf(machine).root(), "h2"),
        ElementsAre("At a glance", "System", "Processors", "Memory", "Disks", "Mounts", "Networks",
            "Recovery"));

    machine.problems = {failureOf(Subject::MEMORY)};
    machine.differences = {{Subject::DISKS, "sda", "size_bytes", uint64_t{7}, "another unit"}};
    Page const page = pageOf(machine);

    EXPECT_THAT(textsIn(page.root(), "h2"),
        ElementsAre("Problems", "At a glance", "System", "Processors", "Memory", "Disks", "Mounts",
            "Networks", "Recovery", "Library"));
    EXPECT_THAT(textsIn(page.withId("problems"), "li"),
        ElementsAre("cannot read a part of the machine from the test: the test says so"));
}

TEST(HtmlPage, hasHeadingsInOrderAndUniqueIds)
{
    Machine machine = knownMachine();
    machine.differences = {{Subject::DISKS, "sda", "size_bytes", uint64_t{7}, "another unit"}};
    Page const page = pageOf(machine);

    EXPECT_THAT(textsIn(page.root(), "h1"), ElementsAre("file\xEF\xBF\xBDserver"));
    EXPECT_THAT(textsIn(page.root(), "h3"), IsEmpty());
    std::set<std::string> ids;
    for (Element const* const element : page.all())
        if (!element->attribute("id").empty()) {
            EXPECT_TRUE(ids.insert(element->attribute("id")).second) << element->attribute("id");
        }
    for (Element const* const link : page.all("a"))
        EXPECT_EQ(ids.count(link->attribute("href").substr(1)), 1U) << link->attribute("href");
}

TEST(HtmlPage, namesEachTableItsColumnsAndItsRows)
{
    Page const page = pageOf(knownMachine());
    auto const tables = page.all("table");
    EXPECT_GE(tables.size(), 5U);
    for (Element const* const table : tables) {
        EXPECT_EQ(table->children.front()->tag, "caption");
        EXPECT_FALSE(table->children.front()->text.empty());
    }
    for (Element const* const heading : page.all("th"))
        EXPECT_EQ(
            heading->attribute("scope"), heading->parent->parent->tag == "thead" ? "col" : "row");
}

TEST(HtmlPage, hasNoScriptAndLoadsNothing)
{
    std::string const text = htmlTextOf(knownMachine());
    Page const page(text);

    std::string policy;
    for (Element const* const meta : page.all("meta"))
        if (meta->attribute("http-equiv") == "Content-Security-Policy")
            policy = meta->attribute("content");
    EXPECT_EQ(policy, "default-src 'none'; style-src 'unsafe-inline'");
    for (Element const* const element : page.all()) {
        EXPECT_THAT(element->tag,
            testing::AnyOf("html", "head", "meta", "title", "style", "body", "header", "div", "h1",
                "h2", "p", "time", "nav", "a", "main", "section", "dl", "dt", "dd", "data", "span",
                "i", "table", "caption", "thead", "tr", "th", "td", "figure", "figcaption", "svg",
                "desc", "g", "path", "rect", "circle", "text", "tspan", "ul", "li", "ol"));
        for (auto const& [name, value] : element->attributes) {
            EXPECT_NE(name, "src");
            EXPECT_FALSE(name.starts_with("on")) << name;
            EXPECT_TRUE(name != "href" || value.starts_with("#")) << value;
        }
    }
    EXPECT_THAT(app::htmlStyle(), AllOf(Not(HasSubstr("url(")), Not(HasSubstr("@import"))));
}

TEST(HtmlPage, saysWhenItWasReadAndByWhichVersion)
{
    Machine machine = knownMachine();
    machine.time = 1774346400;
    Page const page = pageOf(machine);

    Element const* const time = page.all("time").front();
    EXPECT_THAT(time->attribute("datetime"), testing::StartsWith("2026-03-2"));
    EXPECT_EQ(time->text,
        time->attribute("datetime").substr(0, 10) + " "
            + time->attribute("datetime").substr(11, 8));
    EXPECT_THAT(textsIn(*page.all("header").front(), "p"),
        testing::Contains(testing::StartsWith("dovrel-sysinfo ")));
    EXPECT_EQ(page.root().attribute("lang"), "en");
    EXPECT_EQ(page.all("title").front()->text, "file\xEF\xBF\xBDserver - dovrel-sysinfo");
}

TEST(HtmlPage, linksFactsWithTheNotesOfTheLibrary)
{
    Machine machine = knownMachine({Subject::DISKS});
    machine.differences = {{Subject::DISKS, "sda", "size_bytes", uint64_t{2048}, "another unit"}};
    machine.unavailable = {{Subject::DISKS, "the serial numbers", "only root sees them", "/sys"}};
    Page const page = pageOf(machine);

    EXPECT_EQ(page.withId("disks-note-1").text, "size 2.0 KiB (2048): another unit.");
    EXPECT_THAT(textsIn(page.withId("disks"), "a"), ElementsAre("1"));
    EXPECT_THAT(textsIn(page.withId("disks"), "p"),
        testing::Contains("Unknown: the serial numbers, as only root sees them."));
    EXPECT_THAT(textsIn(page.withId("library"), "td"),
        ElementsAre("sda", "size", "2.0 KiB (2048)", "another unit"));
}

TEST(HtmlPage, showsBothSharesOfARecovery)
{
    Machine machine = knownMachine({Subject::RECOVERY});
    machine.recovery->megabytesDone = 3;
    machine.recovery->megabytesTotal = 30;
    Page const page = pageOf(machine);

    EXPECT_EQ(factOn(page, "recovery.done_ratio").text, "37 %");
    EXPECT_THAT(page.withId("recovery").text, HasSubstr("3 of 30 (10 % of the MB)"));
    std::vector<std::string> widths;
    for (Element const* const bar : page.all("i"))
        widths.push_back(bar->attribute("style"));
    EXPECT_THAT(widths, ElementsAre("width:37.0%", "width:10.0%"));
}

TEST(HtmlPage, marksAFullFilesystemByMoreThanAColor)
{
    Machine machine = knownMachine({Subject::MOUNTS});
    machine.mounts = {mountOf("/full", 95), mountOf("/image", 95), mountOf("/half", 50)};
    machine.mounts->at(1).readOnly = true;

    Page const page = pageOf(machine);
    std::vector<std::string> bars;
    for (Element const* const bar : page.all("span"))
        if (bar->attribute("class").starts_with("bar"))
            bars.push_back(bar->attribute("class"));
    EXPECT_THAT(bars, ElementsAre("bar full", "bar", "bar"));
    EXPECT_THAT(app::htmlStyle(), HasSubstr(".bar.full i{background:repeating-linear-gradient("));
}

TEST(HtmlPage, saysInPlaceOfItemsWhyThereAreNone)
{
    Machine machine = knownMachine({Subject::DISKS, Subject::MOUNTS, Subject::NETWORKS});
    machine.disks->clear();
    machine.mounts->clear();
    machine.networks->adapters.clear();
    {
        Page const page = pageOf(machine);
        EXPECT_THAT(textsIn(page.withId("disks"), "p"), ElementsAre("none"));
        EXPECT_THAT(textsIn(page.withId("mounts"), "p"), ElementsAre("none"));
        EXPECT_THAT(page.withId("networks").text, HasSubstr("Network adaptersnone"));
        EXPECT_THAT(page.all("table"), IsEmpty()) << "headings without rows";
    }
    for (Subject const subject : machine.subjects)
        machine.problems.push_back(failureOf(subject));
    Page const page = pageOf(machine);

    EXPECT_THAT(textsIn(page.withId("disks"), "p"), ElementsAre("could not be read"));
    EXPECT_THAT(textsIn(page.withId("mounts"), "p"), ElementsAre("could not be read"));
    EXPECT_THAT(page.withId("networks").text, HasSubstr("Network adapterscould not be read"));
    EXPECT_THAT(app_test::linesBehind("Disks", app_test::summaryOf(machine)),
        ElementsAre("could not be read"));
    EXPECT_THAT(app_test::linesBehind("Mounts", app_test::summaryOf(machine)),
        ElementsAre("could not be read"));
}

TEST(HtmlPage, hasAPlaceAtAGlanceForEachPartThatCouldNotBeRead)
{
    Machine machine;
    machine.subjects = app_test::allSubjects();
    for (Subject const subject : machine.subjects)
        machine.problems.push_back(failureOf(subject));
    Page const page = pageOf(machine);
    Element const& glance = page.withId("glance");

    EXPECT_THAT(textsIn(glance, "dt"),
        ElementsAre("Machine", "Processors", "Memory", "Fullest filesystem", "Disks",
            "Network adapters", "Recovery"));
    EXPECT_THAT(textsIn(glance, "dd"), testing::Each("could not be read"));
}

TEST(HtmlPage, givesTheResultOfARecoveryAtAGlance)
{
    Machine machine = knownMachine();
    EXPECT_THAT(textsIn(pageOf(machine).withId("glance"), "dd"), testing::Contains("restoring"));

    machine.time = 1774346400;
    machine.recovery->recoverEnd = machine.time;
    EXPECT_THAT(textsIn(pageOf(machine).withId("glance"), "dd"),
        testing::Contains(testing::StartsWith("failed: ")));
}

TEST(HtmlPage, namesTheProcessorsOfATable)
{
    Machine machine = knownMachine({Subject::PROCESSORS});
    EXPECT_THAT(textsIn(pageOf(machine).root(), "caption"),
        ElementsAre(testing::StartsWith("Processors 0 to 1: ")));

    machine.processors->list.resize(1);
    EXPECT_THAT(textsIn(pageOf(machine).root(), "caption"),
        ElementsAre(testing::StartsWith("Processor 0: ")));
}

TEST(HtmlTree, drawsDevicesThatAreAlikeInOneRow)
{
    Page const page = pageOf(mirroredMachine());
    auto const pictures = page.all("svg");
    ASSERT_FALSE(pictures.empty());

    EXPECT_THAT(rowsIn(*pictures.front()), ElementsAre("sda, sdb", "sda1, sdb1", "md0", "/"));
    auto const words = textsIn(*pictures.front(), "text");
    EXPECT_EQ(words.at(0), "sda, sdbdiskHDD");
    EXPECT_EQ(words.at(1), "2 \xC3\x97 1.0 TiB");
    EXPECT_EQ(textsIn(*pictures.front(), "desc").front(),
        "sda, sdb, disk, 2 \xC3\x97 1.0 TiB; on sda, sdb: sda1, sdb1, part, 2 \xC3\x97 1.0 TiB; on "
        "sda1, sdb1: md0, raid1, 1.0 TiB; mounted at /, 75.0 % used.");
    EXPECT_EQ(pictures.front()->attribute("role"), "img");
}

TEST(HtmlTree, saysUnknownInWordsToAScreenReader)
{
    Machine machine = mirroredMachine();
    machine.mounts->front().used.reset();
    for (app::Disk& disk : *machine.disks)
        disk.bytes.reset();
    Page const page = pageOf(machine);
    Element const& picture = *page.all("svg").front();

    EXPECT_EQ(textsIn(picture, "desc").front(),
        "sda, sdb, disk, 2 \xC3\x97 unknown size; on sda, sdb: sda1, sdb1, part, 2 \xC3\x97 "
        "unknown size; on sda1, sdb1: md0, raid1, unknown size; mounted at /, use unknown.");
    EXPECT_EQ(
        page.withId(picture.attribute("aria-labelledby")).text, "sda, sdb and the devices on it");
    EXPECT_EQ(page.withId(picture.attribute("aria-describedby")).tag, "desc");
}

TEST(HtmlTree, marksAFullFilesystemByMoreThanAColor)
{
    auto const barOf = [](unsigned percent, bool readOnly) {
        Machine machine = mirroredMachine();
        machine.mounts = {mountOf("/", percent)};
        machine.mounts->front().readOnly = readOnly;
        machine.mounts->front().device = "md0";
        Page const page = pageOf(machine);
        for (Element const* const place : page.all("svg"))
            if (place->attribute("class") == "use")
                return place->children.back()->attribute("class");
        return std::string("none");
    };
    EXPECT_EQ(barOf(89, false), "fill");
    EXPECT_EQ(barOf(90, false), "full");
    EXPECT_EQ(barOf(90, true), "fill");
    EXPECT_THAT(app::htmlStyle(), HasSubstr("stroke-dasharray"));
}

TEST(HtmlTree, drawsASharedDeviceInFullOnceOnly)
{
    Machine machine = mirroredMachine();
    machine.disks->front().model = "another make";
    Page const page = pageOf(machine);

    std::vector<std::vector<std::string>> pictures;
    for (Element const* const picture : page.all("svg"))
        if (picture->attribute("role") == "img")
            pictures.push_back(rowsIn(*picture));
    EXPECT_THAT(pictures,
        ElementsAre(ElementsAre("sda", "sda1", "md0", "/"), ElementsAre("sdb", "sdb1", "md0")));
    EXPECT_THAT(htmlTextOf(machine), HasSubstr(">see above<"));
}

TEST(HtmlTree, cutsWordsThatWouldRunOverTheSizes)
{
    Machine machine = mirroredMachine();
    machine.disks->front().label = std::string(64, 'l');
    machine.disks->front().model = std::string(200, 'm');
    machine.mounts->front().mountPoint = "/" + std::string(254, 'p');
    Page const page = pageOf(machine);

    constexpr size_t LETTERS_OF_THE_PICTURE = 704 / 7;
    for (Element const* const picture : page.all("svg"))
        for (std::string const& words : textsIn(*picture, "text"))
            EXPECT_LT(words.size(), LETTERS_OF_THE_PICTURE + LETTERS_OF_THE_PICTURE / 2) << words;
    EXPECT_THAT(htmlTextOf(machine), HasSubstr(std::string(254, 'p'))) << "in the row's title";
}

TEST(HtmlTree, cutsNamesBetweenLetters)
{
    std::string const letter = "\xC3\xA9";
    std::string letters;
    for (unsigned i = 0; i < 100; ++i)
        letters += letter;
    for (std::string const place : {"/", "/a"}) {
        Machine machine = mirroredMachine();
        machine.mounts->front().mountPoint = place + letters;
        EXPECT_THAT(htmlTextOf(machine),
            AllOf(HasSubstr(letter + "\xE2\x80\xA6" + letter), Not(HasSubstr("\xEF\xBF\xBD"))))
            << "the sign of half a letter";
    }
}

TEST(HtmlTree, leavesOutANameWithoutWholeLetters)
{
    Machine machine = knownMachine({Subject::DISKS});
    machine.disks = {diskOf("dm-0")};
    machine.disks->front().label = std::string(200, '\x80');
    Page const page = pageOf(machine);

    EXPECT_THAT(textsIn(*page.all("svg").front(), "tspan"), testing::Contains("\xE2\x80\xA6"));
}

TEST(HtmlTree, hasAFewLettersOfANameOnManyDevices)
{
    Machine machine = knownMachine({Subject::DISKS});
    machine.disks = {diskOf("sda")};
    for (unsigned i = 10; i < 60; ++i) {
        app::Disk volume = diskOf("a-volume-with-number-" + std::to_string(i));
        volume.type = app::Disk::LOGICAL_VOLUME;
        volume.slaves = {machine.disks->back().name};
        machine.disks->push_back(volume);
    }
    Page const page = pageOf(machine);
    auto const names = textsIn(*page.all("svg").front(), "tspan");

    EXPECT_THAT(names, testing::Contains("a-vo\xE2\x80\xA6-59"));
    EXPECT_THAT(names, Not(testing::Contains("a-volume-with-number-59")));
}

TEST(HtmlTree, endsForDevicesInACircle)
{
    Machine machine = knownMachine({Subject::DISKS});
    machine.disks = {diskOf("dm-0"), diskOf("dm-1"), diskOf("dm-2")};
    for (size_t i = 0; i < 3; ++i)
        machine.disks->at(i).type = app::Disk::MAPPED;
    machine.disks->at(0).slaves = {"dm-1"};
    machine.disks->at(1).slaves = {"dm-0"};
    machine.disks->at(2).slaves = {"dm-2"};

    Page const page = pageOf(machine);
    std::set<std::string> shown;
    for (Element const* const picture : page.all("svg"))
        for (std::string const& name : rowsIn(*picture))
            shown.insert(name);
    EXPECT_THAT(testing::PrintToString(shown),
        AllOf(HasSubstr("dm-0"), HasSubstr("dm-1"), HasSubstr("dm-2")));
}

TEST(Program, writesAPageForEachCommand)
{
    for (char const* const command : {"", "memory", "library"}) {
        std::vector<std::string> arguments = {"--html", "--no-usage"};
        if (*command)
            arguments = {command, "--html"};
        app_test::Outcome const outcome = app_test::Program(arguments).run();

        EXPECT_THAT(outcome.status, testing::AnyOf(0, 1)) << outcome.err;
        EXPECT_NO_THROW(Page{outcome.out}) << command;
    }
    app_test::Outcome const disks = app_test::Program({"disks", "--html"}).run();
    EXPECT_NO_THROW((void)Page(disks.out).withId("mounts")) << "the picture ends at them";
    app_test::Outcome const watch = app_test::Program({"recovery", "--watch", "--html"}).run();
    EXPECT_EQ(watch.status, 64);
    EXPECT_THAT(watch.err, HasSubstr("--watch"));
}
