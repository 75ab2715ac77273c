#include "common/basic/processstream/src/UnixCommand.h"
#include "tests/common/processstream/Child.h"
#include "tests/common/processstream/OtherHost.h"
#include "tests/common/processstream/ProcessCalls.h"
#include "tests/support/Machine.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>
#include <pthread.h>
#include <string>
#include <sys/mman.h>
#include <thread>
#include <unistd.h>
#include <vector>

using dovrel::UnixCommand;

namespace {

constexpr size_t PAGE = 4096;

/** The environment of a child as the kernel has it: a shell would sort its own. */
class UnixCommandEnvironment : public testing::Test {
protected:
    UnixCommandEnvironment() { testkit::machine.link("/bin/sh", ENVIRONMENT_LISTER); }
    ~UnixCommandEnvironment() override { testkit::machine.remove("/bin/sh"); }

private:
    child::MissingFile const m_shell{"/bin/sh"};
};

std::string environmentOfAChild()
{
    UnixCommand command("ignored");
    std::string text = child::everythingFrom(command.stdInOut());
    child::statusOf(command);
    return text;
}

/** Compares a child's environment in a host that has @p entries and the final null pointer. */
std::string complaintsOfHostWith(std::vector<char const*> entries, std::string const& expected)
{
    return complaintsOfAnotherHost([&](std::ostream& complaints) {
        std::vector<char*> environment;
        for (char const* entry : entries)
            environment.push_back(const_cast<char*>(entry));
        environment.push_back(nullptr);
        environ = environment.data();
        std::string const text = environmentOfAChild();
        if (text != expected)
            complaints << "the child has\n" << text;
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

/** Runs @p work on a thread with a stack of 64 KiB, as hosts with many threads have. */
void runOnSmallStack(std::function<void()> const& work)
{
    pthread_attr_t small;
    pthread_attr_init(&small);
    pthread_attr_setstacksize(&small, 64 * 1024);
    pthread_t thread{};
    auto const run = [](void* argument) -> void* {
        (*static_cast<std::function<void()> const*>(argument))();
        return nullptr;
    };
    void* const argument = const_cast<std::function<void()>*>(&work);
    ASSERT_EQ(pthread_create(&thread, &small, run, argument), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&small);
}

/** A host's thread that changes the environment all the time. */
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

TEST_F(UnixCommandEnvironment, hasLangInThePlaceOfTheHostsLang)
{
    EXPECT_EQ(complaintsOfHostWith({"A=1", "LANG=de_DE.UTF-8", "B=2"}, "A=1\nLANG=C\nB=2\n"), "");
    EXPECT_EQ(complaintsOfHostWith({"LANG=", "A=1"}, "LANG=C\nA=1\n"), "");
    EXPECT_EQ(complaintsOfHostWith({"A=1", "LANG=C"}, "A=1\nLANG=C\n"), "");
}

TEST_F(UnixCommandEnvironment, hasLangAtItsEndWhereTheHostHasNone)
{
    EXPECT_EQ(complaintsOfHostWith({"B=2", "A=1"}, "B=2\nA=1\nLANG=C\n"), "");
    EXPECT_EQ(complaintsOfHostWith({"LANGUAGE=de", "LANG", "XLANG=de", "LAN", "lang=de", ""},
                  "LANGUAGE=de\nLANG\nXLANG=de\nLAN\nlang=de\n\nLANG=C\n"),
        "");
}

TEST_F(UnixCommandEnvironment, hasOneLangWhereTheHostHasSeveral)
{
    EXPECT_EQ(complaintsOfHostWith({"A=1", "LANG=de", "B=2", "LANG=fr", "LANG=it", "C=3"},
                  "A=1\nLANG=C\nB=2\nC=3\n"),
        "");
}

TEST_F(UnixCommandEnvironment, hasLangAloneWhereTheHostHasNothing)
{
    EXPECT_EQ(complaintsOfHostWith({}, "LANG=C\n"), "");
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        ::clearenv();
        if (environ)
            complaints << "clearenv leaves an array here\n";
        if (std::string const text = environmentOfAChild(); text != "LANG=C\n")
            complaints << "the child has\n" << text;
    }),
        "");
}

TEST_F(UnixCommandEnvironment, isWholeWhereTheHostHasManyEntries)
{
    for (size_t const count : {509U, 510U, 511U, 512U, 513U, 1024U})
        EXPECT_EQ(complaintsOfHostWith(std::vector<char const*>(count, "A=1"),
                      repeated("A=1\n", count) + "LANG=C\n"),
            "")
            << count;
}

TEST_F(UnixCommandEnvironment, isWholeWhereItIsLargerThanTheStackOfTheThread)
{
    constexpr size_t COUNT = 50'000;
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        std::vector<char*> environment(COUNT, const_cast<char*>("A=1"));
        environment.push_back(nullptr);
        environ = environment.data();
        std::string text;
        runOnSmallStack([&] { text = environmentOfAChild(); });
        if (text != repeated("A=1\n", COUNT) + "LANG=C\n")
            complaints << "the child has " << text.size() << " bytes\n" << text.substr(0, 200);
        environ = nullptr;
    }),
        "");
}

// As another thread may leave it in the middle of setenv(3).
TEST_F(UnixCommandEnvironment, leavesOutStringsThatAreNotThere)
{
    std::vector<char const*> entries;
    for (uintptr_t const address : {uintptr_t{16}, UINTPTR_MAX - PAGE, UINTPTR_MAX}) {
        entries.push_back(reinterpret_cast<char const*>(address));
        entries.push_back("A=1");
    }
    EXPECT_EQ(complaintsOfHostWith(entries, "A=1\nA=1\nA=1\nLANG=C\n"), "");
}

TEST_F(UnixCommandEnvironment, endsWithTheMemoryOfAnArrayWithoutNullPointer)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        void* const pages =
            ::mmap(nullptr, 2 * PAGE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        ::munmap(static_cast<char*>(pages) + PAGE, PAGE);
        environ = static_cast<char**>(pages) + PAGE / sizeof(char*) - 3;
        for (int i = 0; i < 3; ++i)
            environ[i] = const_cast<char*>("A=1");
        std::string const text = environmentOfAChild();
        if (text != "A=1\nA=1\nA=1\nLANG=C\n")
            complaints << "the child has\n" << text;
        environ = nullptr;
    }),
        "");
}

TEST_F(UnixCommandEnvironment, isSetByWeAreChildAlone)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        alignas(UnixCommand) static unsigned char place[sizeof(UnixCommand)];
        processcalls::WorkInChild const work(
            [] { ::_exit(reinterpret_cast<UnixCommand*>(place)->weAreChild()); });
        static char* environment[] = {const_cast<char*>("LANG=de"), nullptr};
        environ = environment;
        auto* const command = new (place) UnixCommand("ignored");
        if (std::string const text = child::everythingFrom(command->stdInOut()); text != "LANG=C\n")
            complaints << "the child has\n" << text;
        if (std::string(environ[0]) != "LANG=de")
            complaints << "the host's environment is changed\n";
        command->~UnixCommand();
    }),
        "");
}

TEST(UnixCommandInABusyHost, startsWhileAThreadChangesTheEnvironment)
{
    EXPECT_EQ(complaintsOfAnotherHost([](std::ostream& complaints) {
        ChangingEnvironment const changing;
        // Sanitizers take several minutes for as many.
        auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        for (int round = 0; round < 1000 && std::chrono::steady_clock::now() < deadline; ++round) {
            UnixCommand command("[ \"$LANG\" = C ] && exit 7");
            if (int const status = child::statusOf(command); status != 7)
                complaints << "round " << round << " ended with " << status << '\n';
        }
    }),
        "");
}
