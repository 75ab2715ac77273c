#include "tests/support/DescriptorGuard.h"
#include "tests/support/Machine.h"
#include "tests/support/SystemCalls.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <optional>

namespace {

/** Enters the fake machine while tests run. GoogleTest's report, coverage and the leak checker,
 * which reads /proc, need the real root. */
class Stay : public testing::Environment {
public:
    void SetUp() override { testkit::machine.enter(); }
    void TearDown() override { testkit::machine.leave(); }
};

/** Empties the machine before each test and reports leaked descriptors and children after it. */
class FreshStart : public testing::EmptyTestEventListener {
    void OnTestStart(testing::TestInfo const& /*test*/) override
    {
        testkit::machine.empty();
        testkit::calls.reset();
        m_guard.emplace();
    }

    void OnTestEnd(testing::TestInfo const& /*test*/) override
    {
        m_guard.reset();
        testkit::reapKilledChildren();
        testkit::expectNoChildren();
    }

    std::optional<testkit::DescriptorGuard> m_guard;
};

}

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    try {
        testkit::machine.prepare();
    } catch (std::exception const& error) {
        std::fprintf(stderr,
            "The test machine, which takes a user and a mount namespace, cannot be built: %s\n",
            error.what());
        return 1;
    }
    testing::AddGlobalTestEnvironment(std::make_unique<Stay>().release());
    testing::UnitTest::GetInstance()->listeners().Append(std::make_unique<FreshStart>().release());
    return RUN_ALL_TESTS();
}
