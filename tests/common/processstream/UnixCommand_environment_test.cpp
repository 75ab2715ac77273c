#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/ForkedProcess.h"
#include "tests/common/processstream/HostThread.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#include <vector>

using dovrel::UnixCommand;

namespace {

constexpr size_t PAGE = 4096;

/** Replaces the shell by a program that prints its environment in the kernel's order; a shell would
 * sort it. */
class UnixCommandEnvironment : public testing::Test {
protected:
    UnixCommandEnvironment() { testkit::machine.link("/bin/sh", ENVIRONMENT_LISTER); }
    ~UnixCommandEnvironment() override { testkit::machine.remove("/bin/sh"); }

private:
    child::MissingFile const m_shell{"/bin/sh"};
};

/** Expects a child's environment in a process that has @p entries and the final null pointer. */
void expectEnvironment(std::vector<char const*> entries, std::string const& expected)
{
    inForkedProcess([&] {
        std::vector<char*> environment;
        for (char const* entry : entries)
            environment.push_back(const_cast<char*>(entry));
        environment.push_back(nullptr);
        environ = environment.data();
        EXPECT_EQ(child::outputOf("ignored"), expected);
        environ = nullptr;
    });
}

std::string repeated(std::string const& text, size_t times)
{
    std::string all;
    for (size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

/** A thread that changes the environment again and again. */
class ChangingEnvironment {
public:
    ChangingEnvironment()
        : m_thread([this] {
              while (!m_stopped)
                  change();
          })
    {
    }
    ChangingEnvironment(ChangingEnvironment const&) = delete;
    ChangingEnvironment& operator=(ChangingEnvironment const&) = delete;
    ~ChangingEnvironment()
    {
        m_stopped = true;
        m_thread.join();
    }

private:
    static void change()
    {
        for (int i = 0; i < 100; ++i)
            ::setenv(("NAME" + std::to_string(i)).c_str(), "value", 1);
        ::setenv("LANG", "de_DE.UTF-8", 1);
        ::clearenv();
    }

    std::atomic<bool> m_stopped = false;
    std::thread m_thread;
};

}

TEST_F(UnixCommandEnvironment, replacesLangInItsPlace)
{
    expectEnvironment({"A=1", "LANG=de_DE.UTF-8", "B=2"}, "A=1\nLANG=C\nB=2\n");
    expectEnvironment({"LANG=", "A=1"}, "LANG=C\nA=1\n");
    expectEnvironment({"A=1", "LANG=C"}, "A=1\nLANG=C\n");
}

TEST_F(UnixCommandEnvironment, endsWithLangWhenTheHostHasNone)
{
    expectEnvironment({"B=2", "A=1"}, "B=2\nA=1\nLANG=C\n");
    expectEnvironment({"LANGUAGE=de", "LANG", "XLANG=de", "LAN", "lang=de", ""},
        "LANGUAGE=de\nLANG\nXLANG=de\nLAN\nlang=de\n\nLANG=C\n");
}

TEST_F(UnixCommandEnvironment, containsLangOnceWhenTheHostHasSeveral)
{
    expectEnvironment(
        {"A=1", "LANG=de", "B=2", "LANG=fr", "LANG=it", "C=3"}, "A=1\nLANG=C\nB=2\nC=3\n");
}

TEST_F(UnixCommandEnvironment, isOnlyLangWhenTheHostsIsEmpty)
{
    expectEnvironment({}, "LANG=C\n");
    inForkedProcess([] {
        ::clearenv();
        EXPECT_EQ(environ, nullptr) << "clearenv(3) leaves an array here";
        EXPECT_EQ(child::outputOf("ignored"), "LANG=C\n");
    });
}

TEST_F(UnixCommandEnvironment, containsEachOfManyEntries)
{
    for (size_t const count : {509U, 510U, 511U, 512U, 513U, 1024U}) {
        SCOPED_TRACE(count);
        expectEnvironment(
            std::vector<char const*>(count, "A=1"), repeated("A=1\n", count) + "LANG=C\n");
    }
}

TEST_F(UnixCommandEnvironment, mayBeLargerThanTheStackOfTheThread)
{
    constexpr size_t COUNT = 50'000;
    inForkedProcess([] {
        std::vector<char*> environment(COUNT, const_cast<char*>("A=1"));
        environment.push_back(nullptr);
        environ = environment.data();
        std::string text;
        runOnSmallStack([&] { text = child::outputOf("ignored"); });
        EXPECT_TRUE(text == repeated("A=1\n", COUNT) + "LANG=C\n")
            << "the child has " << text.size() << " bytes\n"
            << text.substr(0, 200);
        environ = nullptr;
    });
}

// Another thread can leave such pointers in the middle of setenv(3).
TEST_F(UnixCommandEnvironment, omitsEntriesWhosePointersAreInvalid)
{
    std::vector<char const*> entries;
    for (uintptr_t const address : {uintptr_t{16}, UINTPTR_MAX - PAGE, UINTPTR_MAX}) {
        entries.push_back(reinterpret_cast<char const*>(address));
        entries.push_back("A=1");
    }
    expectEnvironment(entries, "A=1\nA=1\nA=1\nLANG=C\n");
}

TEST_F(UnixCommandEnvironment, endsAtUnreadableMemoryWithoutANullPointer)
{
    inForkedProcess([] {
        void* const pages =
            ::mmap(nullptr, 2 * PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ::munmap(static_cast<char*>(pages) + PAGE, PAGE);
        environ = static_cast<char**>(pages) + PAGE / sizeof(char*) - 3;
        for (int i = 0; i < 3; ++i)
            environ[i] = const_cast<char*>("A=1");
        EXPECT_EQ(child::outputOf("ignored"), "A=1\nA=1\nA=1\nLANG=C\n");
        environ = nullptr;
    });
}

TEST_F(UnixCommandEnvironment, isMadeByWeAreChildAndLeavesTheHostsUnchanged)
{
    inForkedProcess([] {
        alignas(UnixCommand) static unsigned char place[sizeof(UnixCommand)];
        processcalls::WorkInChild const work(
            [] { ::_exit(reinterpret_cast<UnixCommand*>(place)->weAreChild()); });
        static char* environment[] = {const_cast<char*>("LANG=de"), nullptr};
        environ = environment;
        auto* const command = new (place) UnixCommand("ignored");
        EXPECT_EQ(child::readAll(command->stdInOut()), "LANG=C\n");
        EXPECT_STREQ(environ[0], "LANG=de");
        command->~UnixCommand();
    });
}

TEST(UnixCommand, startsWhileAThreadChangesTheEnvironment)
{
    inForkedProcess([] {
        ChangingEnvironment const changing;
        // With sanitizers, 1000 rounds take several minutes.
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        for (int round = 0; round < 1000 && std::chrono::steady_clock::now() < deadline; ++round) {
            UnixCommand command("[ \"$LANG\" = C ] && exit 7");
            EXPECT_EQ(child::exitStatusOf(command), 7) << "in round " << round;
        }
    });
}
