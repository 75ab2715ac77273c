// Fake machines, recorded and replayed.

#include "app/recording/archive/archive.h"
#include "tests/machines/MachineFile.h"
#include "tests/machines/ProgramRun.h"
#include "tests/machines/RunningMachine.h"
#include "tests/support/Json.h"
#include "tests/support/Machine.h"
#include "tests/support/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sched.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

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
        char const* const limit = GetParam() == std::string("broken") ? "3" : "50";
        arguments.insert(arguments.end(), {"--tool-limit", limit});
        return arguments;
    }

    /** Records the machine, and runs `all --json` on it. */
    void record(std::vector<std::string> const& options)
    {
        m_file->build();
        machine.file(
            "/proc/1/environ", std::string_view("PASSWORD=x\0container=lxc\0HOME=/\0", 32));
        machine.link("/proc/self/exe", DOVREL_PROGRAM); // Which record runs.
        RunningMachine const running;
        std::vector<std::string> arguments = {"record", RECORDING};
        arguments.insert(arguments.end(), options.begin(), options.end());
        ProgramRun own(limited({"all", "--json"}), std::nullopt);
        ProgramRun record(limited(arguments), std::nullopt);
        ASSERT_TRUE(ProgramRun::finish({&own, &record}, LIMIT));
        ASSERT_EQ(record.status(), 0) << record.errors();
        document = own.output();
        archive = testkit::contentsOf(RECORDING);
    }

    std::string document;
    std::string archive;

private:
    std::unique_ptr<machines::MachineFile> m_file;
};

/** Adds the texts at a key of a document, wherever it is. */
void addTexts(testkit::Json const& value, std::string const& key, std::set<std::string>& texts)
{
    for (auto const& [name, member] : value.items()) {
        if (value.is_object() && name == key && member.is_string())
            texts.insert(member.get<std::string>());
        if (member.is_structured())
            addTexts(member, key, texts);
    }
}

/** The texts of a machine that identify it. */
std::set<std::string> identifyingTexts(std::string const& document)
{
    std::set<std::string> texts;
    auto const facts = testkit::Json::parse(document);
    for (char const* const key : {"host_name", "serial", "mac", "wwn"})
        addTexts(facts, key, texts);
    texts.erase("00:00:00:00:00:00");
    return texts;
}

/** Everything that an archive has, in one text. */
std::string everythingIn(std::string const& archive)
{
    std::istringstream stream(archive);
    app::Recording const recording = app::readRecording(stream);
    std::string text = recording.document;
    for (app::RecordedFile const& file : recording.files)
        text += file.path + "\n" + file.content + "\n";
    for (app::RecordedTool const& tool : recording.tools) {
        for (std::string const& argument : tool.command)
            text += argument + "\n";
        text += tool.output + "\n" + tool.errors + "\n";
    }
    for (std::string const& line : recording.answers)
        text += line + "\n";
    return text;
}

/** @return whether the word is there between other characters than letters and digits: a host may
 * be called "gateway", and a key of the document "gateways". A folder may be part of a path. */
bool hasWord(std::string const& text, std::string const& word)
{
    auto const isPart = [&text](size_t position) {
        return position < text.size() && std::isalnum(static_cast<unsigned char>(text[position]));
    };
    for (size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
        if (!isPart(at - 1) && !isPart(at + word.size())
            && (word[0] != '/' || text[at + word.size()] != '/'))
            return true;
    return false;
}

class RecordedRouter : public Recordings { };

/** Adds the values of a document that tell one machine from another. */
void addFacts(testkit::Json const& value, std::string const& key, std::set<std::string>& facts)
{
    static std::set<std::string> const KEYS = {"host_name", "kernel", "architecture", "boot_time",
        "os", "model", "serial", "total_bytes", "size_bytes", "name", "mount_point", "source",
        "address", "mac", "gateways", "name_servers"};
    if (value.is_structured())
        for (auto const& [inner, item] : value.items())
            addFacts(item, value.is_object() ? inner : key, facts);
    else if (KEYS.count(key) != 0 && !value.is_null() && value != 0)
        facts.insert(value.is_string() ? value.get<std::string>() : value.dump());
}

std::string kernelRelease()
{
    utsname name{};
    uname(&name);
    return name.release;
}

/** @return what tells the real machine from the other one. */
std::set<std::string> hostFacts(std::string const& otherDocument)
{
    ProgramRun host({"all", "--json", "--no-usage"}, std::nullopt, ProgramRun::REAL);
    EXPECT_TRUE(ProgramRun::finish({&host}, LIMIT));
    std::set<std::string> facts;
    addFacts(testkit::Json::parse(host.output()), "", facts);
    std::string const statistics = testkit::contentsOf("/proc/stat");
    size_t const bootTime = statistics.find("btime ") + 6;
    facts.insert(statistics.substr(bootTime, statistics.find('\n', bootTime) - bootTime));
    for (auto fact = facts.begin(); fact != facts.end();)
        fact = hasWord(otherDocument, *fact) ? facts.erase(fact) : std::next(fact);
    return facts;
}

}

TEST_P(Recordings, replayTheMachinesOwnDocument)
{
    record({});
    RealRoot const root;
    RealFolder const folder;
    std::string const file = folder.path() / "machine.tar.gz";
    std::ofstream(file, std::ios::binary) << archive;
    ProgramRun replay(limited({"replay", file, "all", "--json"}), std::nullopt, ProgramRun::REAL);
    ProgramRun check({"replay", "--check", file}, std::nullopt, ProgramRun::REAL);
    ASSERT_TRUE(ProgramRun::finish({&replay, &check}, LIMIT));

    EXPECT_EQ(replay.output(), document) << replay.errors();
    EXPECT_EQ(check.status(), 0) << check.output() << check.errors();

    // One variable of the first process. Here, as a recording of a broken machine takes long.
    std::string const everything = everythingIn(archive);
    EXPECT_EQ(everything.find("PASSWORD"), std::string::npos);
    EXPECT_NE(everything.find(std::string_view("\ncontainer=lxc\0\n", 16)), std::string::npos);
}

TEST_P(Recordings, areConsistentWhereRedacted)
{
    record({"--redact"});
    std::string const everything = everythingIn(archive);
    for (std::string const& text : identifyingTexts(document))
        EXPECT_FALSE(hasWord(everything, text)) << text;

    RealRoot const root;
    RealFolder const folder;
    std::string const file = folder.path() / "machine.tar.gz";
    std::ofstream(file, std::ios::binary) << archive;
    ProgramRun check({"replay", "--check", file}, std::nullopt, ProgramRun::REAL);
    ASSERT_TRUE(ProgramRun::finish({&check}, LIMIT));
    EXPECT_EQ(check.status(), 0) << check.output() << check.errors();
}

TEST_P(RecordedRouter, replaysWithoutFactsOfTheHost)
{
    record({});

    constexpr char const* HOST = "host-of-the-test"; // That of the machine may be any word.
    RealRoot const root;
    ASSERT_EQ(unshare(CLONE_NEWUTS), 0) << std::strerror(errno);
    ASSERT_EQ(sethostname(HOST, std::strlen(HOST)), 0) << std::strerror(errno);
    RealFolder const folder;
    std::string const file = folder.path() / "machine.tar.gz";
    std::ofstream(file, std::ios::binary) << archive;
    std::set<std::string> const facts = hostFacts(document);
    ASSERT_THAT(facts, testing::Contains(HOST));
    ASSERT_THAT(facts, testing::Contains(testing::HasSubstr(kernelRelease())));

    for (std::vector<std::string> const& command : std::vector<std::vector<std::string>>{{},
             {"all"}, {"all", "--bytes"}, {"disks", "--tree"}, {"all", "--json"},
             {"all", "--openmetrics"}, {"all", "--html"}, {"library"}, {"library", "--json"}}) {
        std::vector<std::string> arguments = {"replay", file};
        arguments.insert(arguments.end(), command.begin(), command.end());
        ProgramRun replay(limited(arguments), std::nullopt, ProgramRun::REAL);
        ASSERT_TRUE(ProgramRun::finish({&replay}, LIMIT));
        std::string const text = replay.output() + replay.errors();
        EXPECT_TRUE(hasWord(text, "gateway") || hasWord(text, "mmcblk0")) << text; // The router's.
        for (std::string const& fact : facts)
            EXPECT_FALSE(hasWord(text, fact))
                << fact << " is a fact of the host in " << testing::PrintToString(command);
    }
}

INSTANTIATE_TEST_SUITE_P(All, Recordings,
    testing::Values("laptop", "server", "router", "guest", "old24", "old26", "broken"),
    [](auto const& test) { return std::string(test.param); });

INSTANTIATE_TEST_SUITE_P(All, RecordedRouter, testing::Values("router"));
