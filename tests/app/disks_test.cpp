#include "app/exit_status.h"
#include "tests/app/WholeMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using app_test::Folder;
using app_test::knownMachine;
using app_test::linesOf;
using app_test::Outcome;
using app_test::Program;
using app_test::WholeMachine;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

json disksOf(Outcome const& outcome)
{
    return json::parse(outcome.out).at("disks");
}

/** The sizes that the kernel tells of the known machine's disks, in units of 512 bytes. */
class KernelSizes {
public:
    KernelSizes()
    {
        m_folder.file("block/sda/size", "1953525168\n");
        m_folder.file("block/cciss!c0d0/size", "8\n");
    }

    Program program(std::vector<std::string> arguments) const
    {
        Program program = knownMachine(std::move(arguments));
        program.replaced["/sys"] = m_folder.path();
        return program;
    }

private:
    Folder m_folder;
};

constexpr char const* CANNOT_READ_DISKS =
    "dovrel-sysinfo: cannot read the disks: the known machine?failed\n";
constexpr char const* CANNOT_READ_MOUNTS =
    "dovrel-sysinfo: cannot read the mounted filesystems: the known machine?failed\n";

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
    Outcome const outcome = KernelSizes().program({"disks", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(disksOf(outcome), json::parse(R"([
        { "name": "sda", "caption": "MODEL_1", "size_bytes": 1000204886016, "partitions": 2,
          "library_size_figure": 500107862016 },
        { "name": "cciss/c0d0", "caption": null, "size_bytes": 4096, "partitions": 0,
          "library_size_figure": null },
        { "name": "sd\u001B[2Jb", "caption": "EVIL\u0007\u007F?", "size_bytes": null,
          "partitions": 1, "library_size_figure": 42 } ])"));
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
    Outcome const outcome = KernelSizes().program({"disks", "--tree"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT(linesOf(outcome.out),
        ElementsAre("Disk                     Size       Used              Partitions  Caption",
            "sda                 931.5 GiB                                  2  MODEL_1",
            "|- /               1000.0 GiB  750.0 GiB  ########..",
            "`- /media/my disk     2.0 GiB    2.0 GiB  ##########",
            "cciss/c0d0            4.0 KiB                                  0  -",
            "`- /media/my disk     2.0 GiB    2.0 GiB  ##########",
            "sd?[2Jb                     -                                  1  EVIL???",
            "(no disk)", //
            "|- /gone                    -          -",
            "`- /odd?[2J           1.0 KiB          -"));
}

TEST(Disks, asATreeOfLinesWhereTheLocaleHasThem)
{
    KernelSizes const sizes;
    Program program = sizes.program({"disks", "--tree", "--bytes"});
    program.environment["LC_ALL"] = "C.UTF-8";

    auto const lines = linesOf(program.run().out);
    EXPECT_THAT(lines.at(2), "├─ /               1073741824000  805306368000  ████████░░");
    EXPECT_THAT(lines.at(3), "└─ /media/my disk     2147483648    2147483648  ██████████");
}

TEST(Disks, asATreeForScriptsHaveTheirMounts)
{
    Outcome const outcome = KernelSizes().program({"disks", "--tree", "--json"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_OK);
    json const mounts = json::parse(knownMachine({"mounts", "--json"}).run().out).at("mounts");
    json const disks = disksOf(outcome);
    EXPECT_EQ(disks.at(0).at("size_bytes"), 1000204886016);
    EXPECT_EQ(disks.at(0).at("mounts"), json({mounts.at(0), mounts.at(2)}));
    EXPECT_EQ(disks.at(1).at("mounts"), json::array({mounts.at(2)}));
    EXPECT_EQ(disks.at(2).at("mounts"), json::array());
    EXPECT_EQ(
        json::parse(outcome.out).at("mounts_without_disk"), json({mounts.at(1), mounts.at(3)}));
}

TEST(Disks, withoutMountsWithoutADiskHaveNoSuchLine)
{
    EXPECT_THAT(WholeMachine().program({"disks", "--tree"}).run().out, Not(HasSubstr("(no disk)")));
}

TEST(Disks, thatCannotBeReadAreNamed)
{
    WholeMachine machine;
    machine.hide("partitions");

    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"disks"}, {"disks", "--json"}, {"disks", "--tree"}}) {
        Outcome const outcome = machine.program(arguments).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: cannot read the disks: Failed to open: /proc/partitions\n");
    }
}

TEST(Disks, thatWereFoundBeforeAFailureAreShown)
{
    KernelSizes const sizes;
    Program program = sizes.program({"disks"});
    program.environment["KNOWN_FAILS"] = "disks";

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(outcome.err, CANNOT_READ_DISKS);
    EXPECT_THAT(linesOf(outcome.out),
        ElementsAre(HasSubstr("Disk"), "sda   MODEL_1  931.5 GiB           2"));
}

TEST(Disks, asATreeStandAloneWhereTheMountsCannotBeRead)
{
    KernelSizes const sizes;
    Program tree = sizes.program({"disks", "--tree"});
    tree.environment["KNOWN_FAILS"] = "mounts at once";
    Program document = sizes.program({"disks", "--tree", "--json"});
    document.environment = tree.environment;

    Outcome const shown = tree.run();
    Outcome const told = document.run();

    EXPECT_EQ(shown.status, app::EXIT_STATUS_QUERY_FAILED);
    EXPECT_EQ(shown.err, CANNOT_READ_MOUNTS);
    EXPECT_THAT(linesOf(shown.out),
        ElementsAre(HasSubstr("Disk"), HasSubstr("sda"), HasSubstr("cciss"), HasSubstr("EVIL")));
    EXPECT_EQ(told.status, app::EXIT_STATUS_QUERY_FAILED);
    for (json const& disk : disksOf(told))
        EXPECT_TRUE(disk.at("mounts").is_null());
    EXPECT_TRUE(json::parse(told.out).at("mounts_without_disk").is_null());
}

TEST(Disks, neverMoveTheCursor)
{
    KernelSizes const sizes;
    for (std::vector<std::string> const& arguments : {std::vector<std::string>{"disks"},
             {"disks", "--json"}, {"disks", "--tree"}, {"disks", "--tree", "--json"}}) {
        Program program = sizes.program(arguments);
        program.environment["LC_ALL"] = "C.UTF-8";

        std::string const text = program.run().out;

        EXPECT_THAT(text, HasSubstr("EVIL"));
        EXPECT_THAT(text, Not(testing::ContainsRegex("[\x01-\x09\x0B-\x1F\x7F]")));
        EXPECT_THAT(text, Not(HasSubstr("\xC2\x9B"))) << "the one character for ESC [";
    }
}
