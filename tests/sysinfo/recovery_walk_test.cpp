// One whole recovery: the test polls while another process, the engine, writes its files.

#include "tests/support/CapturedTrace.h"
#include "tests/support/Channel.h"
#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemFailure.h"
#include "tests/sysinfo/recovery_files.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

using testkit::machine;

namespace {

/** The engine's files at one time of the recovery. */
struct Stage {
    std::vector<std::string> status; // The lines; empty: no file.
    std::string answers;
    std::string percent;
};

std::vector<std::string> restore(
    std::string const& status, std::string const& files, std::string const& bytes)
{
    return {"[Main]\n", "Status=" + status + "\n", "RestoreStart=13-05-2014 16:53:20\n",
        "[RestoreStatus]\n", "TotalFiles=200\n", "FilesDone=" + files + "\n",
        "TotalBytes=1048576000\n", "BytesDone=" + bytes + "\n"};
}

std::vector<Stage> const& wholeRecovery()
{
    static std::string const answers = "[AdvancedOptions]\nFinalSync=1\n";
    static std::vector<Stage> const stages{{{}, {}, {}}, {{"[Main]\n", "Status=1000\n"}, {}, {}},
        {{"[Main]\n", "Status=2000\n"}, {}, {}}, {{"[Main]\n", "Status=4999\n"}, {}, {}},
        {restore("5000", "0", "0"), {}, {}}, {restore("5000", "50", "524288000"), {}, {}},
        {restore("5000", "50", "524288000"), {}, "73\n"},
        {restore("5000", "200", "1048576000"), {}, "100\n"},
        {restore("5000", "200", "1048576000"), answers, "100\n"},
        {restore("5600", "200", "1048576000"), answers, {}},
        {{"[Main]\n", "Status=1000\n"}, {}, {}}};
    return stages;
}

/** How the engine writes: it renames a new file over the old one, or overwrites the old one. */
enum class Writing { byRename, inPlace };

void writeAll(int descriptor, std::string const& text)
{
    if (::write(descriptor, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        ::_exit(3);
}

void writeFile(char const* path, std::vector<std::string> const& lines, Writing writing)
{
    std::string const written = writing == Writing::byRename ? std::string(path) + ".new" : path;
    int const descriptor = ::open(written.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (descriptor < 0)
        ::_exit(2);
    for (std::string const& line : lines)
        writeAll(descriptor, line);
    ::close(descriptor);
    if (writing == Writing::byRename && ::rename(written.c_str(), path) != 0)
        ::_exit(4);
}

void writeOrRemove(char const* path, std::vector<std::string> const& lines, Writing writing)
{
    if (lines.empty())
        ::unlink(path);
    else
        writeFile(path, lines, writing);
}

void writeStage(Stage const& stage, Writing writing)
{
    using Lines = std::vector<std::string>;
    writeOrRemove(testkit::RECOVERY_STATUS, stage.status, writing);
    writeOrRemove(
        testkit::RECOVERY_ANSWERS, stage.answers.empty() ? Lines() : Lines{stage.answers}, writing);
    writeOrRemove(
        testkit::RECOVERY_PERCENT, stage.percent.empty() ? Lines() : Lines{stage.percent}, writing);
}

/** The engine: a child process that writes its current stage repeatedly until the test orders the
 * next one. */
class Engine {
public:
    explicit Engine(Writing writing)
    {
        m_child = ::fork();
        if (m_child < 0)
            testkit::fail("fork", "engine");
        if (m_child == 0) {
            m_orders.writer.close();
            m_answers.reader.close();
            work(m_orders.reader, m_answers.writer, writing);
        }
        m_orders.reader.close();
        m_answers.writer.close();
    }
    Engine(Engine const&) = delete;
    Engine& operator=(Engine const&) = delete;
    ~Engine() { end(); }

    /** Waits until the next stage's files exist. */
    void goOn()
    {
        char c = 'g';
        if (::write(m_orders.writer, &c, 1) != 1 || ::read(m_answers.reader, &c, 1) != 1)
            throw std::runtime_error("the engine has stopped");
    }

    /** @return the child's exit code, -1 where it ended by a signal. */
    int end()
    {
        if (m_child < 0)
            return m_exitCode;
        m_orders.writer.close();
        m_answers.reader.close();
        int status = 0;
        ::waitpid(m_child, &status, 0);
        m_child = -1;
        m_exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return m_exitCode;
    }

private:
    [[noreturn]] static void work(int orders, int answers, Writing writing)
    {
        ::fcntl(orders, F_SETFL, O_NONBLOCK);
        size_t next = 0;
        for (;;) {
            char c = 0;
            ssize_t const got = ::read(orders, &c, 1);
            if (got == 0)
                ::_exit(0);
            if (got == 1)
                ++next;
            if (next > wholeRecovery().size())
                ::_exit(5);
            if (next > 0)
                writeStage(wholeRecovery()[next - 1], writing);
            if (got == 1 && ::write(answers, &c, 1) != 1)
                ::_exit(6);
        }
    }

    pid_t m_child = -1;
    testkit::Channel m_orders = testkit::Channel::pipe();
    testkit::Channel m_answers = testkit::Channel::pipe();
    int m_exitCode = -1;
};

std::string figuresOf(testkit::RecoveryRecord const& record)
{
    if (!record)
        return "none";
    std::ostringstream out;
    out << record->getOperationID() << ": " << record->getOperationProgress() << "%, "
        << record->getFilesDone() << '/' << record->getTotalFiles() << " files, "
        << record->getMBytesDone() << '/' << record->getTotalMBytes() << " MB";
    return out.str();
}

struct Figures {
    long files = -1, filesDone = -1, bytes = -1, bytesDone = -1;
};

/** @return the expected figures for the first @p lines lines of a status file. */
std::string figuresOfLines(std::vector<std::string> const& status, size_t lines, bool finalSync,
    std::string const& percent)
{
    unsigned long operation = 0;
    Figures figures;
    for (size_t i = 0; i < lines; ++i) {
        std::sscanf(status[i].c_str(), "Status=%lu", &operation);
        std::sscanf(status[i].c_str(), "TotalFiles=%ld", &figures.files);
        std::sscanf(status[i].c_str(), "FilesDone=%ld", &figures.filesDone);
        std::sscanf(status[i].c_str(), "TotalBytes=%ld", &figures.bytes);
        std::sscanf(status[i].c_str(), "BytesDone=%ld", &figures.bytesDone);
    }
    if (operation == 0)
        return "none";
    std::ostringstream out;
    if (operation < 5000) {
        out << operation << ": 0%, 0/0 files, 0/0 MB";
        return out.str();
    }
    long percentage = static_cast<long>(
        50LL * figures.bytesDone / figures.bytes + 50LL * figures.filesDone / figures.files);
    std::sscanf(percent.c_str(), "%ld", &percentage);
    out << (operation == 5000 && finalSync ? 5500 : operation) << ": "
        << static_cast<uint32_t>(percentage) << "%, " << static_cast<uint32_t>(figures.filesDone)
        << '/' << static_cast<uint32_t>(figures.files) << " files, " << figures.bytesDone / 1048576
        << '/' << figures.bytes / 1048576 << " MB";
    return out.str();
}

/** @return the figures that a poll may return while the engine writes the stage's files. */
std::set<std::string> allowedAt(Stage const& stage, Writing writing)
{
    bool const answered = !stage.answers.empty();
    size_t const all = stage.status.size();
    std::set<std::string> allowed{figuresOfLines(stage.status, all, answered, stage.percent)};
    if (writing == Writing::inPlace)
        for (size_t lines = 0; lines <= all; ++lines)
            for (bool const finalSync : {false, answered})
                for (std::string const& percent : {std::string(), stage.percent})
                    allowed.insert(figuresOfLines(stage.status, lines, finalSync, percent));
    return allowed;
}

/** @return the number of distinct figures. */
size_t walk(Writing writing, int pollsOfAStage)
{
    machine.folder("/etc/dovrel");
    machine.folder("/tmp");
    std::vector<int> const descriptors = testkit::openDescriptors();
    std::set<std::string> seen;
    {
        Engine engine(writing);
        for (Stage const& stage : wholeRecovery()) {
            engine.goOn();
            std::set<std::string> const allowed = allowedAt(stage, writing);
            std::string const whole = figuresOfLines(
                stage.status, stage.status.size(), !stage.answers.empty(), stage.percent);
            // On a busy machine the engine may pause with half-written files; poll longer then.
            bool wholeSeen = false;
            for (int i = 0; i < pollsOfAStage || (!wholeSeen && i < 100 * pollsOfAStage); ++i) {
                testkit::RecoveryRecord const record = testkit::pollRecovery(i % 2 == 0);
                std::string const figures = figuresOf(record);
                if (allowed.count(figures) == 0) {
                    ADD_FAILURE() << "returned: " << figures
                                  << "\nallowed among others: " << *allowed.rbegin();
                    return 0;
                }
                if (record) {
                    EXPECT_EQ(record->getFailedOperationID(), 0U);
                    EXPECT_TRUE(record->getLastError().empty());
                    EXPECT_EQ(record->getRestoreEndTime(), testkit::RECOVERY_NOW);
                }
                wholeSeen = wholeSeen || figures == whole;
                seen.insert(figures);
            }
        }
        EXPECT_EQ(engine.end(), 0);
    }
    EXPECT_EQ(testkit::openDescriptors(), descriptors);
    return seen.size();
}

}

TEST(RecoveryWalk, returnsEachStageExactlyWhenFilesAreReplaced)
{
    EXPECT_EQ(walk(Writing::byRename, 300), 10U); // The idle state occurs twice.
}

TEST(RecoveryWalk, returnsOnlyWrittenFiguresWhenFilesAreOverwritten)
{
    EXPECT_GE(walk(Writing::inPlace, 400), 10U);
}

TEST(RecoveryWalk, returnsTheLastStageAfterTheEngineEnds)
{
    machine.folder("/etc/dovrel");
    writeStage(wholeRecovery()[8], Writing::byRename);
    EXPECT_EQ(figuresOf(testkit::pollRecovery()), "5500: 100%, 200/200 files, 1000/1000 MB");
}

TEST(RecoveryWalk, allowsPollsFromManyThreads)
{
    machine.folder("/etc/dovrel");
    testkit::CapturedTrace const trace(5);
    auto const pollOnFourThreads = [](std::string const& expected) {
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&] {
                for (int poll = 0; poll < 50; ++poll)
                    EXPECT_EQ(figuresOf(testkit::pollRecovery()), expected);
            });
        for (std::thread& thread : threads)
            thread.join();
    };
    pollOnFourThreads("none");
    EXPECT_LE(trace.lines().size(), 4U) << "a thread reported the cause twice";
    writeStage(wholeRecovery()[6], Writing::byRename);
    pollOnFourThreads("5000: 73%, 50/200 files, 500/1000 MB");
}
