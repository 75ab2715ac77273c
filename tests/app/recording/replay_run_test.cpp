// The real program replays a recording of the real machine, which it has made itself.

#include "app/exit_status.h"
#include "tests/app/Program.h"
#include "tests/app/SyscallFilter.h"
#include "tests/app/WatchedProgram.h"
#include "tests/support/capabilities.h"
#include "tests/support/commands.h"
#include "tests/support/text.h"
#include "tests/support/user_namespace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>

using app_test::Folder;
using app_test::Outcome;
using app_test::Program;
using app_test::WatchedProgram;
using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testkit::contentsOf;
using testkit::linesOf;
using testkit::runs;

namespace {

constexpr char const* EQUAL = "The replay equals what the recorded machine reported.\n";

/** @return an item of the manifest that has no content. */
json itemOf(std::string const& path, std::string const& kind)
{
    return {{"path", path}, {"kind", kind}, {"mode", "0644"}, {"size", 0}, {"opened", false},
        {"queries", json::array()}};
}

/** An ordinary user of a user namespace, who owns the files of the test's user. */
void becomeOrdinaryUser()
{
    std::string const user = std::to_string(geteuid());
    std::string const group = std::to_string(getegid());
    if (unshare(CLONE_NEWUSER) != 0)
        testkit::fail("unshare", "with a user namespace");
    testkit::writeProcFile("/proc/self/setgroups", "deny");
    testkit::writeProcFile("/proc/self/uid_map", "1000 " + user + " 1");
    testkit::writeProcFile("/proc/self/gid_map", "1000 " + group + " 1");
}

class ReplayRun : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        s_folder = std::make_unique<Folder>();
        s_file = s_folder->path() / "machine.tar.gz";
        Outcome const outcome = Program({"record", s_file, "--tool-limit", "50"}).run();
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        ASSERT_TRUE(runs("cd " + s_folder->path().string() + " && tar -xzf machine.tar.gz"));
        s_text = contentsOf(s_folder->path() / "document.json");
        s_document = json::parse(s_text);
    }

    static void TearDownTestSuite() { s_folder.reset(); }

    static Program replayer(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"replay", s_file});
        return Program(std::move(arguments));
    }

    static Outcome replay(std::vector<std::string> arguments)
    {
        return replayer(std::move(arguments)).run();
    }

    /** @return the recording with a changed manifest. The archive keeps only members that it
     * names. */
    static std::string withManifest(Folder const& folder, std::function<void(json&)> const& change)
    {
        std::string const unpacked = (folder.path() / "unpacked").string();
        testkit::runs("mkdir " + unpacked + " && tar -C " + unpacked + " -xzf " + s_file);
        json manifest = json::parse(contentsOf(folder.path() / "unpacked/manifest.json"));
        change(manifest);
        folder.file("unpacked/manifest.json", manifest.dump());
        std::string const text = manifest.dump();
        if (text.find("root/etc/localtime") == std::string::npos)
            testkit::runs("rm -f " + unpacked + "/root/etc/localtime");
        std::string const file = folder.path() / "changed.tar.gz";
        EXPECT_TRUE(runs("cd " + unpacked + " && tar --format=ustar -czf " + file + " *"));
        return file;
    }

    static std::unique_ptr<Folder> s_folder;
    static std::string s_file;
    static std::string s_text; ///< the recorded machine's document
    static json s_document;
};

std::unique_ptr<Folder> ReplayRun::s_folder;
std::string ReplayRun::s_file;
std::string ReplayRun::s_text;
json ReplayRun::s_document;

}

TEST_F(ReplayRun, checksThatItEqualsTheRecordedMachine)
{
    Outcome const outcome = Program({"replay", "--check", s_file}).run();

    EXPECT_EQ(outcome.out, EQUAL);
    EXPECT_EQ(outcome.err, "");
    EXPECT_EQ(outcome.status, 0);
}

TEST_F(ReplayRun, writesTheRecordedMachinesJson)
{
    Outcome const all = replay({"all", "--json"});
    Outcome const disks = replay({"disks", "--json"});

    EXPECT_EQ(all.out, s_text);
    EXPECT_EQ(json::parse(disks.out).at("disks"), s_document.at("disks"));
}

TEST_F(ReplayRun, saysWhyTheRecordedMachineHadNoAddresses)
{
    Folder const folder;
    std::string const file = withManifest(folder, [](json& manifest) {
        json answers = {"adapters EACCES"};
        for (std::string const line : manifest.at("answers"))
            if (!line.starts_with("adapter ") && !line.starts_with("address "))
                answers.push_back(line);
        manifest["answers"] = answers;
    });

    Outcome const outcome = Program({"replay", file, "networks"}).run();

    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: cannot read the addresses from getifaddrs: Permission denied\n");
    EXPECT_EQ(outcome.status, app::EXIT_STATUS_QUERY_FAILED);
}

TEST_F(ReplayRun, writesTablesAndTheSummary)
{
    Outcome const summary = replay({});
    Outcome const memory = replay({"memory", "--bytes"});
    Outcome const cpus = replay({"cpus", "-o", "CPU", "--no-headings"});

    std::string const name = s_document.at("networks").at("host_name");
    EXPECT_THAT(summary.out, HasSubstr(name));
    EXPECT_THAT(memory.out, HasSubstr(s_document.at("memory").at("total_bytes").dump()));
    EXPECT_EQ(linesOf(cpus.out).size(), s_document.at("processors").at("count").get<size_t>());
}

TEST_F(ReplayRun, writesMetricsOfTheTimeOfTheRecording)
{
    Outcome const outcome = replay({"--openmetrics"});

    std::string const manifest = contentsOf(s_folder->path() / "manifest.json");
    std::string const time = json::parse(manifest).at("time_seconds").dump();
    EXPECT_THAT(outcome.out, HasSubstr("\ndovrel_read_timestamp_seconds " + time + "\n"));
    EXPECT_THAT(outcome.out,
        HasSubstr("\ndovrel_memory_total_bytes " + s_document.at("memory").at("total_bytes").dump()
            + "\n"));
    EXPECT_THAT(outcome.out, EndsWith("\n# EOF\n"));
}

TEST_F(ReplayRun, writesThePage)
{
    Outcome const outcome = replay({"all", "--html"});

    EXPECT_THAT(outcome.out, StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(outcome.out,
        HasSubstr("data-key=\"memory.total_bytes\" value=\""
            + s_document.at("memory").at("total_bytes").dump() + "\""));
}

TEST_F(ReplayRun, writesWhatTheLibraryReports)
{
    Outcome const text = replay({"library"});
    json const queries = json::parse(replay({"library", "--json"}).out).at("queries");

    ASSERT_FALSE(queries.empty());
    for (json const& query : queries)
        EXPECT_THAT(text.out, HasSubstr(query.at("query").get<std::string>()));
}

TEST_F(ReplayRun, writesToAFile)
{
    Folder const folder;
    std::string const file = folder.path() / "all.json";
    Program program = replayer({"all", "--json", "--output", "all.json"});
    program.folder = folder.path();

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(contentsOf(file), s_text);
    struct stat state { };
    ASSERT_EQ(stat(file.c_str(), &state), 0);
    EXPECT_EQ(state.st_mode, S_IFREG | 0644U);
}

TEST_F(ReplayRun, fitsATerminal)
{
    constexpr unsigned short COLUMNS = 40;
    WatchedProgram terminal(replayer({"networks"}), COLUMNS);
    int const status = terminal.waitForEnd();
    Outcome const pipe = replay({"networks"});

    EXPECT_EQ(status, pipe.status);
    EXPECT_NE(linesOf(terminal.output()), linesOf(pipe.out));
    EXPECT_THAT(terminal.output(), HasSubstr("Left out: "));
    for (std::string line : linesOf(terminal.output())) {
        line.erase(line.find_last_not_of('\r') + 1);
        EXPECT_LE(line.substr(line.rfind('\r') + 1).size(), COLUMNS) << line;
    }
}

TEST_F(ReplayRun, reportsADifferentDocument)
{
    Folder const folder;
    std::string const total = s_document.at("memory").at("total_bytes").dump();
    std::string changed = s_text;
    size_t const place = changed.find("\"total_bytes\": " + total);
    ASSERT_NE(place, std::string::npos);
    changed.replace(place, 15 + total.size(), "\"total_bytes\": 1");
    std::string const unpacked = (folder.path() / "unpacked").string();
    ASSERT_TRUE(runs("mkdir " + unpacked + " && tar -C " + unpacked + " -xzf " + s_file));
    folder.file("unpacked/document.json", changed);
    std::string const file = folder.path() / "changed.tar.gz";
    ASSERT_TRUE(runs("cd " + unpacked + " && tar --format=ustar -czf " + file + " *"));

    Outcome const outcome = Program({"replay", "--check", file}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_DIFFERENT);
    EXPECT_EQ(outcome.out, "/memory/total_bytes: recorded 1, replayed " + total + "\n");
    EXPECT_EQ(outcome.err, "");
}

/** Redaction changes the names by which lists are sorted. */
TEST_F(ReplayRun, mayHaveListsInAnotherOrderWhereTheRecordingIsRedacted)
{
    json document = s_document;
    std::swap(document.at("subjects").front(), document.at("subjects").back());
    auto const checked = [&document](bool redacted) {
        Folder const folder;
        std::string const file = withManifest(folder, [&](json& manifest) {
            manifest["redacted"] = redacted;
            folder.file("unpacked/document.json", document.dump());
        });
        return Program({"replay", "--check", file}).run();
    };

    EXPECT_EQ(checked(true).out, EQUAL);
    EXPECT_EQ(checked(false).status, app::EXIT_STATUS_DIFFERENT);
}

TEST_F(ReplayRun, hasTheTimesOfTheRecordedZone)
{
    Program program = replayer({"all", "--json"});
    program.environment = {{"TZ", "XYZ-9"}};

    EXPECT_EQ(program.run().out, s_text);
}

TEST_F(ReplayRun, namesAnItemThatIsCut)
{
    Folder const folder;
    size_t recorded = 0;
    std::string const file = withManifest(folder, [&recorded](json& manifest) {
        for (json& item : manifest.at("files"))
            if (item.at("path") == "/proc/meminfo") {
                recorded = item.at("stored_size");
                item.at("size") = recorded + 1;
            }
    });
    std::string const line = "dovrel-sysinfo: only the first " + std::to_string(recorded) + " of "
        + std::to_string(recorded + 1) + " bytes of /proc/meminfo are recorded\n";

    Outcome const check = Program({"replay", "--check", file}).run();
    Outcome const all = Program({"replay", file, "all", "--json"}).run();

    EXPECT_EQ(check.err, line);
    EXPECT_EQ(check.out, EQUAL);
    EXPECT_EQ(all.err, line);
    EXPECT_EQ(all.out, s_text);
}

TEST_F(ReplayRun, countsTheOtherItemsThatAreCut)
{
    Folder const folder;
    std::string const file = withManifest(folder, [](json& manifest) {
        for (json& item : manifest.at("files"))
            for (char const* const path : {"/proc/cpuinfo", "/proc/meminfo", "/proc/stat"})
                if (item.at("path") == path)
                    item.at("size") = item.at("stored_size").get<size_t>() + 1;
    });

    Outcome const outcome = Program({"replay", file, "system"}).run();

    EXPECT_THAT(outcome.err,
        HasSubstr(" bytes of /proc/cpuinfo are recorded, and 2 other items in part\n"));
}

TEST_F(ReplayRun, refusesAnAddressOfNoAdapter)
{
    Folder const folder;
    std::string const file = withManifest(folder, [](json& manifest) {
        manifest.at("answers").push_back("address none%1B[31m 192.0.2.7/24");
    });

    for (std::vector<std::string> const& arguments :
        {std::vector<std::string>{"replay", file, "networks"}, {"replay", "--check", file}}) {
        Outcome const outcome = Program(arguments).run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_ARCHIVE);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: the address 192.0.2.7: it has no adapter \"none\\033[31m\"\n");
    }
}

TEST_F(ReplayRun, isNotBlockedByAFifoInPlaceOfTheTimeZone)
{
    Folder const folder;
    std::string const file = withManifest(folder, [](json& manifest) {
        json& files = manifest.at("files");
        for (size_t i = files.size(); i-- > 0;)
            if (files[i].at("path").get<std::string>() == "/etc/localtime")
                files.erase(i);
        files.push_back(itemOf("/etc/localtime", "other"));
    });

    Outcome const outcome = Program({"replay", file, "system", "--json"}).run();

    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("+00:00\""));
}

/** The comparison with the library takes the square of the number of mounts. */
TEST_F(ReplayRun, endsWhereItNeedsTooMuchOfTheProcessor)
{
    Folder const folder;
    std::string mounts;
    std::string mountinfo;
    for (unsigned i = 0; i < 14'000; ++i) {
        std::string const number = std::to_string(i);
        mounts += "/dev/d" + number + " /m" + number + " ext4 rw 0 0\n";
        mountinfo +=
            number + " 1 8:" + number + " / /m" + number + " rw - ext4 /dev/d" + number + " rw\n";
    }
    std::string const file = withManifest(folder, [&](json& manifest) {
        for (json& item : manifest.at("files"))
            for (auto const& [path, content] : {std::pair{"/proc/self/mounts", mounts},
                     std::pair{"/proc/self/mountinfo", mountinfo}})
                if (item.at("path") == path) {
                    folder.file("unpacked/" + item.at("member").get<std::string>(), content);
                    item.at("size") = item.at("stored_size") = content.size();
                }
    });
    for (std::vector<std::string> const& arguments : std::vector<std::vector<std::string>>{
             {"replay", file, "all", "--json"}, {"replay", "--check", file}}) {
        Program program(arguments);
        program.prepare = [] {
            rlimit const limit = {2, RLIM_INFINITY};
            setrlimit(RLIMIT_CPU, &limit);
        };

        Outcome const outcome = program.run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_ARCHIVE);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: the recording has too much: its replay needs more than 2 s of the "
            "processor\n");
    }
}

/** The comparison of two lists takes the square of their difference in length. */
TEST_F(ReplayRun, endsWhereTheDocumentNeedsTooMuchOfTheProcessor)
{
    Folder const folder;
    std::string document = "{\"disks\": [0";
    for (unsigned i = 0; i < 700'000; ++i)
        document += ",0";
    folder.file("document.json", document + "]}");
    std::string const place = folder.path();
    ASSERT_TRUE(runs("mkdir " + place + "/unpacked && cd " + place + "/unpacked && tar -xzf "
        + s_file + " && mv ../document.json . && tar --format=ustar -czf ../changed.tar.gz *"));
    Program program({"replay", "--check", place + "/changed.tar.gz"});
    program.prepare = [] {
        rlimit const limit = {2, RLIM_INFINITY};
        setrlimit(RLIMIT_CPU, &limit);
    };

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_ARCHIVE);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("its replay needs more than 2 s of the processor\n"));
}

TEST_F(ReplayRun, refusesAFileThatIsNoRecording)
{
    Folder const folder;
    folder.file("text.tar.gz", "no archive\n");
    folder.file("cut.tar.gz", contentsOf(s_file).substr(0, 5000));
    ASSERT_TRUE(runs("cd " + folder.path().string() + " && tar -czf other.tar.gz text.tar.gz"));
    for (char const* const name : {"text.tar.gz", "cut.tar.gz", "other.tar.gz", "missing", "."})
        for (char const* const option : {"--json", "--check"}) {
            std::string const file = folder.path() / name;
            Outcome const outcome = option == std::string("--check")
                ? Program({"replay", "--check", file}).run()
                : Program({"replay", file, "all", "--json"}).run();
            EXPECT_EQ(outcome.status, app::EXIT_STATUS_ARCHIVE) << name;
            EXPECT_EQ(outcome.out, "") << name;
            EXPECT_THAT(outcome.err, StartsWith("dovrel-sysinfo: cannot read " + file + ": "));
        }
}

TEST_F(ReplayRun, isDoneByAnOrdinaryUser)
{
    Folder const folder;
    std::string const file = folder.path() / "user.tar.gz";
    auto const run = [](std::vector<std::string> const& arguments) {
        Program program(arguments);
        program.prepare = becomeOrdinaryUser;
        return program.run();
    };

    Outcome const own = run({"replay", "--check", s_file});
    Outcome const record = run({"record", file, "--tool-limit", "50"});
    Outcome const check = run({"replay", "--check", file});

    EXPECT_EQ(own.out, EQUAL) << own.err;
    EXPECT_EQ(record.status, 0) << record.err;
    EXPECT_EQ(check.out, EQUAL) << check.err;
    ASSERT_TRUE(runs("cd " + folder.path().string() + " && tar -xzf user.tar.gz"));
    EXPECT_EQ(json::parse(contentsOf(folder.path() / "manifest.json")).at("user_id"), 1000);
}

TEST_F(ReplayRun, hasTheTimeZoneOfTheRecording)
{
    for (auto const& [zone, offset] : {std::pair{"Asia/Tokyo", "+09:00"},
             std::pair{":/usr/share/zoneinfo/America/New_York", "-0"}, std::pair{"JST-9", "+09:00"},
             std::pair{":EST5", "-05:00"}, std::pair{"<-03>3", "-03:00"}, std::pair{"", "+00:00"},
             std::pair{":", "+00:00"}, std::pair{"no zone", "+00:00"}}) {
        Folder const folder;
        std::string const file = folder.path() / "zone.tar.gz";
        Program record({"record", file, "--tool-limit", "50"});
        record.environment["TZ"] = zone;
        Program check({"replay", "--check", file});
        check.environment["TZ"] = "Europe/Rome";
        Program all({"replay", file, "all", "--json"});
        all.environment["TZ"] = "Europe/Rome";

        Outcome const recorded = record.run();

        EXPECT_EQ(recorded.status, 0) << recorded.err;
        EXPECT_EQ(check.run().out, EQUAL) << zone;
        std::string const time = json::parse(all.run().out).at("time");
        EXPECT_EQ(time.substr(time.size() - 6, std::strlen(offset)), offset) << zone;
    }
}

TEST_F(ReplayRun, hasUtcWhereTheFileOfTheTimeZoneIsTooLargeToBeRecorded)
{
    Folder const folder;
    folder.file(
        "zone", contentsOf("/usr/share/zoneinfo/Asia/Tokyo") + std::string(1024 * 1024, ' '));
    std::string const file = folder.path() / "zone.tar.gz";
    Program record({"record", file, "--tool-limit", "50"});
    record.environment["TZ"] = folder.path() / "zone";

    Outcome const recorded = record.run();

    EXPECT_EQ(recorded.status, 0) << recorded.err;
    EXPECT_EQ(Program({"replay", "--check", file}).run().out, EQUAL);
    std::string const time =
        json::parse(Program({"replay", file, "all", "--json"}).run().out).at("time");
    EXPECT_THAT(time, EndsWith("+00:00"));
}

TEST_F(ReplayRun, refusesARuleOfATimeZoneThatIsAFile)
{
    Folder const folder;
    std::string const file = withManifest(folder,
        [](json& manifest) { manifest.at("answers").push_back("zone ../../../etc/passwd"); });

    Outcome const outcome = Program({"replay", file, "system"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_ARCHIVE);
    EXPECT_EQ(outcome.err,
        "dovrel-sysinfo: the answer zone ../../../etc/passwd: no call has this answer\n");
}

/** The C library reads a file of the rule's name first, and would wait for a FIFO. */
TEST_F(ReplayRun, isNotBlockedByAFifoOfTheNameOfATimeZone)
{
    Folder const folder;
    std::string const file = withManifest(folder, [](json& manifest) {
        manifest.at("answers").push_back("zone EST5");
        manifest.at("files").push_back(itemOf("/usr/share/zoneinfo/EST5", "other"));
    });

    EXPECT_EQ(Program({"replay", file, "system", "--json"}).run().status, 0);
}

TEST_F(ReplayRun, hasItsOwnDeviceWhereTheRecordingHasAFile)
{
    Folder const folder;
    std::string const file = withManifest(folder, [](json& manifest) {
        for (char const* const path : {"/dev/null", "/dev/pts/7", "/dev/ptmx"})
            manifest.at("files").push_back(itemOf(path, "other"));
    });

    Outcome const outcome = Program({"replay", file, "all", "--json"}).run();

    EXPECT_EQ(outcome.out, s_text) << outcome.err;
}

TEST_F(ReplayRun, namesAPathThatIsTooLong)
{
    Folder const folder;
    std::string const name(300, 'n');
    std::string const file = withManifest(folder, [&name](json& manifest) {
        manifest.at("files").push_back(itemOf("/" + name + "/below", "other"));
    });

    Outcome const outcome = Program({"replay", file, "system"}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_ARCHIVE);
    EXPECT_THAT(outcome.err, StartsWith("dovrel-sysinfo: /nnn"));
    EXPECT_THAT(outcome.err, EndsWith(": File name too long\n"));
}

/** The second reading of a path may find nothing, or a link. */
TEST_F(ReplayRun, hasTheKindThatAnItemHadLater)
{
    for (auto const& [kind, reason] :
        {std::pair{"absent", "No such file or directory"}, std::pair{"link", ""}}) {
        Folder const folder;
        std::string const file = withManifest(folder, [&, kind = kind](json& manifest) {
            runs("rm -rf " + (folder.path() / "unpacked/later").string());
            json item = itemOf("/proc/stat", kind);
            if (kind == std::string("link")) {
                item["target"] = "stat-of-another-time";
                json& files = manifest.at("files");
                for (json& first : files)
                    if (first.at("path") == "/proc/stat") {
                        json second = first;
                        first = item;
                        second["path"] = "/proc/stat-of-another-time";
                        files.push_back(second);
                        break;
                    }
            }
            manifest.at("later") = json::array({item});
        });

        Outcome const outcome = Program({"replay", file, "cpus"}).run();

        EXPECT_EQ(outcome.status, *reason == '\0' ? 0 : 1);
        EXPECT_EQ(outcome.err,
            *reason == '\0' ? ""
                            : "dovrel-sysinfo: cannot read the processors' loads from /proc/stat: "
                    + std::string(reason) + "\n");
    }
}

/** ld.so(8) separates the objects of LD_PRELOAD at blanks and colons. */
TEST_F(ReplayRun, worksBelowAFolderWithBlanksAndColons)
{
    Folder const folder;
    std::filesystem::path const place = folder.path() / "odd: place $LIB";
    std::filesystem::path const program = DOVREL_PROGRAM;
    std::filesystem::path const build = program.parent_path().parent_path();
    create_directories(place / program.parent_path().filename());
    std::filesystem::copy(program, place / program.parent_path().filename() / program.filename());
    create_directories(place / "lib/dovrel-sysinfo");
    std::filesystem::copy(
        build / "lib/dovrel-sysinfo/recording.so", place / "lib/dovrel-sysinfo/recording.so");
    std::string const command = "LD_LIBRARY_PATH='" + (build / "lib").string() + "' '"
        + (place / program.parent_path().filename() / program.filename()).string() + "' ";
    std::string const file = folder.path() / "odd.tar.gz";

    EXPECT_TRUE(runs(command + "record " + file + " --tool-limit 50 >/dev/null"));
    EXPECT_TRUE(runs(command + "replay --check " + file + " >/dev/null"));
}

TEST_F(ReplayRun, namesTheSettingThatForbidsIt)
{
    Program limited = replayer({"all", "--json"});
    limited.prepare = [] {
        testkit::enterNamespaces(CLONE_NEWUSER);
        testkit::writeProcFile("/proc/sys/user/max_user_namespaces", "0");
    };
    Program filtered = replayer({"all", "--json"});
    filtered.prepare = [] { app_test::filterSyscalls({{SYS_unshare, SECCOMP_RET_ERRNO | EPERM}}); };

    std::string const message =
        "dovrel-sysinfo: replay needs a user namespace, which this machine forbids: ";
    for (auto const& [program, reason] : {std::pair{limited, "user.max_user_namespaces is 0"},
             std::pair{filtered,
                 "Operation not permitted; a container's filter of system calls may forbid it"}}) {
        Outcome const outcome = program.run();
        EXPECT_EQ(outcome.status, app::EXIT_STATUS_NO_NAMESPACE);
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, message + reason + "\n");
    }
}

/** A container's filter may allow the namespaces alone. */
TEST_F(ReplayRun, namesAFilterThatForbidsThePrivateRoot)
{
    constexpr unsigned NOT_PERMITTED = SECCOMP_RET_ERRNO | EPERM;
    constexpr unsigned FLAGS = 3; // The argument of mount(2).
    for (app_test::SyscallRule const rule :
        {app_test::SyscallRule{SYS_mount, NOT_PERMITTED, FLAGS, unsigned{MS_PRIVATE}},
            app_test::SyscallRule{SYS_mount, NOT_PERMITTED, FLAGS, unsigned{MS_NODEV}},
            app_test::SyscallRule{SYS_mount, NOT_PERMITTED, FLAGS, unsigned{MS_BIND}},
            app_test::SyscallRule{SYS_chroot, NOT_PERMITTED},
            app_test::SyscallRule{SYS_capset, NOT_PERMITTED}}) {
        Program filtered = replayer({"system"});
        filtered.prepare = [rule] { app_test::filterSyscalls({rule}); };

        Outcome const outcome = filtered.run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_NO_NAMESPACE) << rule.number;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: replay needs a user namespace, which this machine forbids: Operation "
            "not permitted; a container's filter of system calls may forbid it\n");
    }
}

TEST_F(ReplayRun, namesTheSettingsOfDistributionsThatForbidIt)
{
    for (auto const& [name, value] : {std::pair{"unprivileged_userns_clone", "0"},
             std::pair{"apparmor_restrict_unprivileged_userns", "1"}}) {
        Folder const folder;
        folder.file(name, std::string(value) + "\n");
        Program program = replayer({"all", "--json"});
        program.replaced["/proc/sys/kernel"] = folder.path();
        program.prepare = [] {
            app_test::filterSyscalls({{SYS_unshare, SECCOMP_RET_ERRNO | EPERM}});
        };

        Outcome const outcome = program.run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_NO_NAMESPACE);
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: replay needs a user namespace, which this machine forbids: kernel."
                + std::string(name) + " is " + value + "\n");
    }
}

TEST_F(ReplayRun, leavesTheFileOfOutputAsItWasWhereItCannotReplay)
{
    Folder const folder;
    std::string const output = folder.file("all.json", "former\n");
    std::string const file = withManifest(folder,
        [](json& manifest) { manifest.at("answers").push_back("address none 192.0.2.7/24"); });

    Outcome const outcome = Program({"replay", file, "all", "--json", "--output", output}).run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_ARCHIVE);
    EXPECT_EQ(contentsOf(output), "former\n");
}

TEST_F(ReplayRun, reportsAFileThatItMayNotRead)
{
    Folder const folder;
    std::string const file = folder.file("machine.tar.gz", "");
    EXPECT_EQ(chmod(file.c_str(), 0), 0);
    Program program({"replay", file});
    program.prepare = [] {
        testkit::enterNamespaces(CLONE_NEWUSER);
        testkit::dropFilePrivilegesOfChildren();
    };

    Outcome const outcome = program.run();

    EXPECT_EQ(outcome.status, app::EXIT_STATUS_ARCHIVE);
    EXPECT_EQ(outcome.err, "dovrel-sysinfo: cannot read " + file + ": Permission denied\n");
}

TEST_F(ReplayRun, reportsThatStandardOutputIsFull)
{
    for (std::vector<std::string> const& arguments : std::vector<std::vector<std::string>>{
             {"replay", "--check", s_file}, {"replay", s_file, "disks"}}) {
        Program program(arguments);
        program.outputFile = "/dev/full";

        Outcome const outcome = program.run();

        EXPECT_EQ(outcome.status, app::EXIT_STATUS_OUTPUT);
        EXPECT_EQ(outcome.err,
            "dovrel-sysinfo: cannot write to standard output: No space left on device\n");
    }
}

TEST(ReplayUsage, takesACommandThatShowsAMachineOnce)
{
    for (auto const& [arguments, message] :
        std::vector<std::pair<std::vector<std::string>, char const*>>{
            {{"replay", "a", "recovery", "--watch"},
                "--watch has no use with replay, where nothing changes"},
            {{"replay", "a", "record", "b"}, "replay takes a command that shows a machine"},
            {{"replay", "a", "replay", "b"}, "replay takes a command that shows a machine"},
            {{"replay", "a", "disk"}, "did you mean 'disks'?"},
            {{"--json", "replay", "a"}, "--json must stand after the FILE of replay"},
            {{"--trace", "3", "replay", "a"}, "--trace must stand after the FILE of replay"},
            {{"replay"}, "replay needs a FILE"},
        }) {
        Outcome const outcome = Program(arguments).run();
        EXPECT_EQ(outcome.status, app::EXIT_STATUS_USAGE) << message;
        EXPECT_THAT(outcome.err, HasSubstr(message));
        EXPECT_EQ(outcome.out, "");
    }
}
