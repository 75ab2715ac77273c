// The record of a recovery. recovery_query_test.cpp tests the query.

#include "sysinfo/UNIXSystemInformation.h"
#include "tests/sysinfo/null_object.h"
#include "tests/sysinfo/record_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>

namespace {

using UNIXCloneInfo = sysinfo::UNIXSystemInformation::UNIXCloneInfo;
using CloneInfo = sysinfo::SystemInformation::CloneInfo;

/** @return a record with a different value in each field. */
UNIXCloneInfo sample()
{
    return {5000, 2, 37, 200, 1000, 10, 500, 11, 12, 13, 14, 15.5, L"the tape is torn, alas"};
}

void expectSample(CloneInfo const& record)
{
    EXPECT_EQ(record.getOperationID(), 5000U);
    EXPECT_EQ(record.getFailedOperationID(), 2U);
    EXPECT_EQ(record.getOperationProgress(), 37U);
    EXPECT_EQ(record.getTotalFiles(), 200U);
    EXPECT_EQ(record.getTotalMBytes(), 1000U);
    EXPECT_EQ(record.getFilesDone(), 10U);
    EXPECT_EQ(record.getMBytesDone(), 500U);
    EXPECT_EQ(record.getRecoverStartTime(), 11);
    EXPECT_EQ(record.getRecoverEndTime(), 12);
    EXPECT_EQ(record.getRestoreStartTime(), 13);
    EXPECT_EQ(record.getRestoreEndTime(), 14);
    EXPECT_EQ(record.getThroughput(), 15.5);
    EXPECT_EQ(record.getLastError(), dovrel::string(L"the tape is torn, alas"));
}

class Watched : public UNIXCloneInfo {
public:
    explicit Watched(int& deleted) : UNIXCloneInfo(sample()), m_deleted(deleted) { }
    Watched(Watched const&) = delete;
    Watched& operator=(Watched const&) = delete;
    ~Watched() override { ++m_deleted; }

private:
    int& m_deleted;
};

}

TEST(CloneInfo, returnsItsConstructorArguments)
{
    expectSample(sample());
}

TEST(CloneInfo, holdsEveryFieldToItsLimits)
{
    constexpr unsigned int MOST = std::numeric_limits<unsigned int>::max();
    constexpr long LATEST = std::numeric_limits<long>::max();
    constexpr long EARLIEST = std::numeric_limits<long>::min();
    UNIXCloneInfo const record(MOST, MOST, MOST, MOST, MOST, MOST, MOST, EARLIEST, LATEST, EARLIEST,
        LATEST, std::numeric_limits<double>::infinity(), L"");
    EXPECT_EQ(record.getOperationID(), MOST);
    EXPECT_EQ(record.getFailedOperationID(), MOST);
    EXPECT_EQ(record.getOperationProgress(), MOST);
    EXPECT_EQ(record.getTotalFiles(), MOST);
    EXPECT_EQ(record.getTotalMBytes(), MOST);
    EXPECT_EQ(record.getFilesDone(), MOST);
    EXPECT_EQ(record.getMBytesDone(), MOST);
    EXPECT_EQ(record.getRecoverStartTime(), EARLIEST);
    EXPECT_EQ(record.getRecoverEndTime(), LATEST);
    EXPECT_EQ(record.getRestoreStartTime(), EARLIEST);
    EXPECT_EQ(record.getRestoreEndTime(), LATEST);
    EXPECT_EQ(record.getThroughput(), std::numeric_limits<double>::infinity());
    EXPECT_TRUE(record.getLastError().empty());
    EXPECT_EQ(textOf(record), "Progress: 4294967295 / 4294967295 operation = 4294967295");
}

TEST(CloneInfo, toStringReturnsOneLine)
{
    EXPECT_EQ(textOf(sample()), "Progress: 10 / 200 operation = 5000");
    EXPECT_EQ(textOf(UNIXCloneInfo(0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, L"")),
        "Progress: 0 / 0 operation = 0");
}

TEST(CloneInfo, returnsACopyOfItsError)
{
    UNIXCloneInfo const record = sample();
    dovrel::string error = record.getLastError();
    error = L"mended";
    expectSample(record);
}

TEST(CloneInfo, clonesToItsOwnClassAndFields)
{
    dovrel::value_ptr<CloneInfo> copy;
    {
        UNIXCloneInfo const original = sample();
        copy = dovrel::value_ptr<CloneInfo>(original.clone());
        EXPECT_NE(copy.get(), static_cast<CloneInfo const*>(&original));
    }
    ASSERT_TRUE(copy);
    EXPECT_NE(dynamic_cast<UNIXCloneInfo const*>(copy.get()), nullptr);
    expectSample(*copy);
}

TEST(CloneInfo, isClonedWhenValuePtrIsCopied)
{
    dovrel::value_ptr<CloneInfo> original(new UNIXCloneInfo(sample()));
    dovrel::value_ptr<CloneInfo> const copy(original);
    original.reset();
    expectSample(*copy);
}

TEST(CloneInfo, clonesAndIsDestroyedThroughCloneable)
{
    dovrel::Cloneable<CloneInfo>* const original = new UNIXCloneInfo(sample());
    CloneInfo* const copy = original->clone();
    original->destroy();
    expectSample(*copy);
    dovrel::Cloneable<CloneInfo>& cloneableSide = *copy;
    cloneableSide.destroy();
}

TEST(CloneInfo, destroyCallsTheVirtualDestructor)
{
    int deleted = 0;
    auto* const record = new Watched(deleted);
    record->UNIXCloneInfo::destroy();
    EXPECT_EQ(deleted, 1);
    {
        dovrel::value_ptr<CloneInfo> const owner(new Watched(deleted));
    }
    EXPECT_EQ(deleted, 2);
}

TEST(CloneInfo, destroyIgnoresNullKept)
{
    testkit::destroyNull<UNIXCloneInfo>();
}
