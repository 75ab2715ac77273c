#include "app/sampling.h"
#include "app/sampling_options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <utility>

using app::CpuRecords;
using app::sampleUsage;
using app::UsageSample;
using std::chrono::minutes;
using std::chrono::seconds;
using testing::Each;
using testing::ElementsAre;
using testing::Eq;
using testing::Optional;

namespace {

/** A processor whose load is what a function says. */
class FakeProcessor : public sysinfo::SystemInformation::CPUInfo {
public:
    explicit FakeProcessor(std::function<float()> usage) : m_usage(std::move(usage)) { }

    dovrel::string toString() const override { return "fake"; }
    unsigned int getMaxSpeedInMHZ() const override { return 0; }
    unsigned int getCurrentSpeedInMHZ() const override { return 0; }
    float getCurrentUsage() const override { return m_usage(); }
    void destroy() override { delete this; }
    CPUInfo* clone() const override { return new FakeProcessor(*this); }

private:
    std::function<float()> m_usage;
};

void add(CpuRecords& records, std::function<float()> usage)
{
    records.emplace_back(new FakeProcessor(std::move(usage)));
}

/** Holds all comers until a number of them has come, or until it is opened. */
class Gate {
public:
    explicit Gate(unsigned wanted) : m_wanted(wanted) { }

    /** @return false where the others did not come within a minute. */
    bool pass()
    {
        std::unique_lock lock(m_mutex);
        ++m_come;
        m_changed.notify_all();
        return m_changed.wait_for(
            lock, minutes(1), [this] { return m_open || m_come >= m_wanted; });
    }

    void open()
    {
        std::lock_guard const lock(m_mutex);
        m_open = true;
        m_changed.notify_all();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned const m_wanted;
    unsigned m_come = 0;
    bool m_open = false;
};

void noProgress(size_t, size_t, std::chrono::steady_clock::duration)
{
}

}

TEST(Sampling, asksAllProcessorsAtOnce)
{
    // None of them answers before all have been asked.
    constexpr unsigned COUNT = 64;
    Gate gate(COUNT);
    CpuRecords records;
    for (unsigned i = 0; i < COUNT; ++i)
        add(records, [&gate, i] { return gate.pass() ? static_cast<float>(i) : -1.0F; });

    UsageSample const sample = sampleUsage(records, {minutes(2)}, noProgress);

    EXPECT_FALSE(sample.threadsLeftBehind);
    ASSERT_EQ(sample.percent.size(), COUNT);
    for (unsigned i = 0; i < COUNT; ++i)
        EXPECT_THAT(sample.percent[i], Optional(static_cast<float>(i)));
}

TEST(Sampling, leavesBehindWhoDoesNotAnswer)
{
    // Shared, because the thread that is left behind outlives this function's beginning.
    auto const gate = std::make_shared<Gate>(2);
    std::weak_ptr<Gate> const held = gate;
    CpuRecords records;
    add(records, [] { return 12.5F; });
    add(records, [gate] { return gate->pass() ? 50.0F : -1.0F; });

    UsageSample const sample = sampleUsage(records, {seconds(1)}, noProgress);

    EXPECT_TRUE(sample.threadsLeftBehind);
    EXPECT_THAT(sample.percent, ElementsAre(Optional(12.5F), Eq(std::nullopt)));

    records.clear(); // The thread goes on with its own copy.
    gate->open();
    auto const deadline = std::chrono::steady_clock::now() + minutes(1);
    while (held.use_count() > 1 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_EQ(held.use_count(), 1) << "the thread has not freed its copy";
}

TEST(Sampling, takesOneAfterTheOtherWithOneThread)
{
    CpuRecords records;
    for (float const percent : {0.0F, 50.0F, 100.0F})
        add(records, [percent] { return percent; });

    UsageSample const sample = sampleUsage(records, {minutes(1), 1}, noProgress);

    EXPECT_FALSE(sample.threadsLeftBehind);
    EXPECT_THAT(sample.percent, ElementsAre(Optional(0.0F), Optional(50.0F), Optional(100.0F)));
}

TEST(Sampling, knowsNothingWithoutAnyThread)
{
    CpuRecords records;
    add(records, [] { return 50.0F; });

    UsageSample const sample = sampleUsage(records, {minutes(1), 0}, noProgress);

    EXPECT_FALSE(sample.threadsLeftBehind);
    EXPECT_THAT(sample.percent, ElementsAre(Eq(std::nullopt)));
}

TEST(Sampling, takesNoFigureOutsideOfPercent)
{
    CpuRecords records;
    for (float const percent : {std::numeric_limits<float>::quiet_NaN(), -0.5F, 100.5F,
             std::numeric_limits<float>::infinity()})
        add(records, [percent] { return percent; });
    add(records, []() -> float { throw std::runtime_error("no figure at all"); });
    records.emplace_back();

    UsageSample const sample = sampleUsage(records, {minutes(1)}, noProgress);

    EXPECT_THAT(sample.percent, testing::SizeIs(6));
    EXPECT_THAT(sample.percent, Each(Eq(std::nullopt)));
}

TEST(Sampling, ofNoProcessorEndsAtOnce)
{
    UsageSample const sample = sampleUsage({}, {minutes(1)}, noProgress);

    EXPECT_TRUE(sample.percent.empty());
    EXPECT_FALSE(sample.threadsLeftBehind);
}

TEST(Sampling, tellsHowFarItIs)
{
    Gate gate(2);
    CpuRecords records;
    add(records, [] { return 1.0F; });
    add(records, [&gate] { return gate.pass() ? 2.0F : -1.0F; });
    size_t mostDone = 0;

    // The second one ends only once the first one's end has been told.
    UsageSample const sample = sampleUsage(records, {minutes(1)},
        [&](size_t done, size_t total, std::chrono::steady_clock::duration elapsed) {
            EXPECT_EQ(total, 2U);
            EXPECT_GE(elapsed.count(), 0);
            EXPECT_GE(done, mostDone);
            mostDone = done;
            if (done == 1)
                gate.open();
        });

    EXPECT_EQ(mostDone, 1U);
    EXPECT_THAT(sample.percent, ElementsAre(Optional(1.0F), Optional(2.0F)));
}

TEST(SamplingOptions, readSecondsWithAPoint)
{
    using app::parseSeconds;
    EXPECT_THAT(parseSeconds("1"), Optional(seconds(1)));
    EXPECT_THAT(parseSeconds("2.5"), Optional(std::chrono::milliseconds(2500)));
    EXPECT_THAT(parseSeconds("86400"), Optional(std::chrono::hours(24)));
    for (char const* const wrong :
        {"", "0", "0.999", "-1", "86400.5", "nan", "inf", "1e3", "2,5", " 2", "2 ", "2s"})
        EXPECT_EQ(parseSeconds(wrong), std::nullopt) << wrong;
}
