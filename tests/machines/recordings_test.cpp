// Fake machines, recorded and replayed.

#include "tests/machines/MachineFile.h"
#include "tests/machines/ProgramRun.h"
#include "tests/machines/RunningMachine.h"
#include "tests/support/Machine.h"
#include "tests/support/text.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

using machines::ProgramRun;
using machines::RealRoot;
using machines::RunningMachine;
using testkit::machine;

constexpr char const* RECORDING = "/testkit/machine.tar.gz";
constexpr std::chrono::seconds LIMIT(120);

/** A folder of the real root. */
class RealFolder {
public:
    RealFolder()
    {
        std::string folder = std::filesystem::temp_directory_path() / "recordings_test.XXXXXX";
        if (!mkdtemp(folder.data()))
            testkit::fail("mkdtemp", folder);
        m_path = folder;
    }
    RealFolder(RealFolder const&) = delete;
    RealFolder& operator=(RealFolder const&) = delete;
    ~RealFolder() { std::filesystem::remove_all(m_path); }

    std::filesystem::path const& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

class Recordings : public testing::TestWithParam<char const*> {
protected:
    Recordings()
    {
        RealRoot const root;
        m_file = std::make_unique<machines::MachineFile>(
            std::filesystem::path(DOVREL_MACHINES_FOLDER) / (GetParam() + std::string(".machine")));
    }

    /** @return the arguments with a limit for tools that none of them reaches but those that hang.
     */
    static std::vector<std::string> limited(std::vector<std::string> arguments)
    {
        char const* const limit = GetParam() == std::string("broken") ? "5" : "50";
        arguments.insert(arguments.end(), {"--tool-limit", limit});
        return arguments;
    }

    std::unique_ptr<machines::MachineFile> m_file;
};

}

TEST_P(Recordings, replayTheMachinesOwnDocument)
{
    m_file->build();
    machine.link("/proc/self/exe", DOVREL_PROGRAM); // Which record runs.
    std::string document;
    std::string archive;
    {
        RunningMachine const running;
        ProgramRun own(limited({"all", "--json"}), std::nullopt);
        ProgramRun record(limited({"record", RECORDING}), std::nullopt);
        ASSERT_TRUE(ProgramRun::finish({&own, &record}, LIMIT));
        ASSERT_EQ(record.status(), 0) << record.errors();
        document = own.output();
        archive = testkit::contentsOf(RECORDING);
    }

    RealRoot const root;
    RealFolder const folder;
    std::string const file = folder.path() / "machine.tar.gz";
    std::ofstream(file, std::ios::binary) << archive;
    ProgramRun replay(limited({"replay", file, "all", "--json"}), std::nullopt, ProgramRun::REAL);
    ProgramRun check({"replay", "--check", file}, std::nullopt, ProgramRun::REAL);
    ASSERT_TRUE(ProgramRun::finish({&replay, &check}, LIMIT));

    EXPECT_EQ(replay.output(), document) << replay.errors();
    EXPECT_EQ(check.status(), 0) << check.output() << check.errors();
}

INSTANTIATE_TEST_SUITE_P(All, Recordings,
    testing::Values("laptop", "server", "router", "guest", "old24", "old26", "broken"),
    [](auto const& test) { return std::string(test.param); });
