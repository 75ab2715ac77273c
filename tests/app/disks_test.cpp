#include "app/exit_status.h"
#include "tests/app/LocaleFor.h"
#include "tests/app/WholeMachine.h"
#include "tests/app/known_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using app::Subject;
using app_test::jsonOf;
using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::tablesOf;
using app_test::WholeMachine;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

app::Subjects const DISK_TREE = {Subject::DISKS, Subject::MOUNTS};
constexpr app::TableOptions TREE = {false, true};

json disksOf(Outcome const& outcome)
{
    return json::parse(outcome.out).at("disks");
}

}

TEST(Disks, haveTheSizeThatTheKernelTellsAndTheNameOfTheirModel)
{
    WholeMachine machine;
    machine.partitions("8 0 976762584 sda\n8 1 1 sda1\n8 2 1 sda2\n8 16 1 sdb\n");
    machine.device("sda", "ata-MODEL_1");
    machine.kernelFile("block/sda/size", "1953525168\n");
    machine.kernelFile("block/sdb/size", "0\n");

    Outcome const outcome = machine.program({"disks"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(linesOf(outcome.out),
        ElementsAre("Disk  Caption       Size  Partitions", //
            "sda   MODEL_1  931.5 GiB           2", //
            "sdb   -              0 B           0"));
}

TEST(Disks, areNumbersOfBytesOnDemand)
{
    EXPECT_THAT(linesOf(WholeMachine().program({"disks", "--bytes"}).run().out),
        ElementsAre("Disk  Caption     Size  Partitions", "sdzz  -        1024000           0"));
}

TEST(Disks, forScriptsHaveTheLibrarysFigureUnderItsOwnName)
{
    EXPECT_EQ(jsonOf(knownMachine({Subject::DISKS})), json::parse(R"({ "disks": [
        { "name": "sda", "caption": "MODEL_1", "size_bytes": 1000204886016, "partitions": 2,
          "library_size_figure": 500107862016 },
        { "name": "cciss/c0d0", "caption": null, "size_bytes": 4096, "partitions": 0,
          "library_size_figure": null },
        { "name": "sd\u001B[2Jb", "caption": "EVIL\u0007\u007F\u009B", "size_bytes": null,
          "partitions": 1, "library_size_figure": 42 } ] })"));
}

TEST(Disks, withASlashInTheirNameHaveTheSizeOfTheKernelsFolder)
{
    WholeMachine machine;
    machine.partitions("104 0 8 cciss/x\n");
    machine.kernelFile("block/cciss!x/size", "8\n");

    json const disks = disksOf(machine.program({"disks", "--json"}).run());

    EXPECT_EQ(disks.at(0).at("name"), "cciss/x");
    EXPECT_EQ(disks.at(0).at("size_bytes"), 4096);
}

struct NoSize : testing::TestWithParam<char const*> { };

TEST_P(NoSize, isUnknown)
{
    WholeMachine machine;
    machine.kernelFile("block/sdzz/size", GetParam());

    Outcome const table = machine.program({"disks"}).run();
    Outcome const document = machine.program({"disks", "--json"}).run();

    EXPECT_EQ(table.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(table.out).at(1), "sdzz  -           -           0");
    EXPECT_TRUE(disksOf(document).at(0).at("size_bytes").is_null());
}

// The last one is a 64-bit number, its bytes are none.
INSTANTIATE_TEST_SUITE_P(
    Disks, NoSize, testing::Values("", "\n", "-1\n", "0x8\n", "8 8\n", "36028797018963968\n"));

TEST(Disks, asATreeHaveTheirMountsBelowThem)
{
    EXPECT_THAT(tablesOf(knownMachine(DISK_TREE), TREE),
        ElementsAre("Disk                     Size       Used              Partitions  Caption",
            "sda                 931.5 GiB                                  2  MODEL_1",
            "|- /               1000.0 GiB  750.0 GiB  ########..",
            "`- /media/my disk     2.0 GiB    2.0 GiB  ##########",
            "cciss/c0d0            4.0 KiB                                  0  -",
            "`- /media/my disk     2.0 GiB    2.0 GiB  ##########",
            "sd?[2Jb                     -                                  1  EVIL????",
            "(no disk)", //
            "|- /gone                    -          -",
            "`- /odd?[2J           1.0 KiB          -"));
}

TEST(Disks, asATreeHaveBoxLinesWhereTheLocaleHasThem)
{
    app_test::LocaleFor const utf8("C.UTF-8");

    auto const lines = tablesOf(knownMachine(DISK_TREE), {true, true});

    EXPECT_THAT(lines.at(2), "├─ /               1073741824000  805306368000  ████████░░");
    EXPECT_THAT(lines.at(3), "└─ /media/my disk     2147483648    2147483648  ██████████");
}

TEST(Disks, asATreeForScriptsHaveTheirMounts)
{
    app::Machine const machine = knownMachine(DISK_TREE);
    json const lists = jsonOf(machine);
    json const& mounts = lists.at("mounts");

    json const tree = jsonOf(machine, true);

    EXPECT_EQ(tree.size(), 2U);
    json expected = lists.at("disks");
    expected.at(0)["mounts"] = {mounts.at(0), mounts.at(2)};
    expected.at(1)["mounts"] = json::array({mounts.at(2)});
    expected.at(2)["mounts"] = json::array();
    EXPECT_EQ(tree.at("disks"), expected);
    EXPECT_EQ(tree.at("mounts_without_disk"), json({mounts.at(1), mounts.at(3)}));
}

TEST(Disks, asATreeAreReadWithTheirMounts)
{
    WholeMachine machine;
    machine.partitions("8 0 1000 sda\n8 1 1000 sda1\n");
    machine.device("sda", "");
    machine.device("sda1", "");
    machine.mounts("/dev/sda1 /nowhere ext4 rw 0 0\n");

    Outcome const tree = machine.program({"disks", "--tree"}).run();
    json const document = json::parse(machine.program({"disks", "--tree", "--json"}).run().out);

    EXPECT_EQ(tree.status, app::EXIT_STATUS_OK);
    EXPECT_THAT(linesOf(tree.out),
        ElementsAre(HasSubstr("Disk"), HasSubstr("sda"), testing::StartsWith("`- /nowhere ")));
    EXPECT_EQ(document.at("disks").at(0).at("mounts").at(0).at("mount_point"), "/nowhere");
    EXPECT_EQ(document.at("mounts_without_disk"), json::array());
}

TEST(Disks, withoutMountsWithoutADiskHaveNoSuchLine)
{
    EXPECT_THAT(WholeMachine().program({"disks", "--tree"}).run().out, Not(HasSubstr("(no disk)")));
}

TEST(Disks, thatCannotBeReadAreNamed)
{
    WholeMachine machine;
    machine.hide("partitions");

    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"disks"},
             {"disks", "--json"}, {"disks", "--tree"}, {"disks", "--tree", "--json"}}) {
        Outcome const outcome = machine.program(arguments).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
        // The library reads the same file for the mounts of the tree.
        bool const tree = arguments.size() > 1 && arguments.at(1) == "--tree";
        std::vector<std::string> const lines = linesOf(outcome.err);
        ASSERT_EQ(lines.size(), tree ? 2U : 1U);
        EXPECT_EQ(lines.at(0),
            "dovrel-sysinfo: cannot read the disks from /proc/partitions: "
            "Failed to open: /proc/partitions");
        EXPECT_THAT(lines.back(), testing::EndsWith(": Failed to open: /proc/partitions"));
        if (arguments.back() != "--json") {
            EXPECT_EQ(outcome.out, "");
            continue;
        }
        EXPECT_TRUE(json::parse(outcome.out).at("disks").is_null());
        EXPECT_EQ(json::parse(outcome.out).value("mounts_without_disk", json()), json());
    }
}

TEST(Disks, asATreeStandAloneWhereTheMountsCannotBeRead)
{
    WholeMachine machine;
    machine.hide("mounts");

    Outcome const tree = machine.program({"disks", "--tree"}).run();
    Outcome const document = machine.program({"disks", "--tree", "--json"}).run();

    for (Outcome const& outcome : {tree, document}) {
        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
        EXPECT_THAT(outcome.err, HasSubstr("cannot read the mounted filesystems from "));
        EXPECT_THAT(linesOf(outcome.err), testing::SizeIs(1));
    }
    EXPECT_THAT(linesOf(tree.out), ElementsAre(HasSubstr("Disk"), HasSubstr("sdzz")));
    EXPECT_TRUE(disksOf(document).at(0).at("mounts").is_null());
    EXPECT_TRUE(json::parse(document.out).at("mounts_without_disk").is_null());
}
