#include "app/read/answer_bytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

using app::LibraryAnswer;
using app::LibraryRecord;
using app::LibraryValue;
using testing::SizeIs;

namespace {

LibraryAnswer sent(LibraryAnswer const& answer)
{
    return app::answerOf(app::bytesOf(answer));
}

LibraryValue sent(LibraryValue const& value)
{
    LibraryAnswer answer;
    answer.records = {{"", {{"get", value}}}};
    LibraryAnswer const received = sent(answer);
    EXPECT_THAT(received.records, SizeIs(1));
    EXPECT_EQ(received.records.at(0).fields.at(0).getter, "get");
    return received.records.at(0).fields.at(0).value;
}

}

TEST(AnswerBytes, carryEachTypeOfValue)
{
    using Texts = std::vector<std::string>;
    LibraryValue const values[] = {std::string("text"), std::string(), uint64_t{0},
        std::numeric_limits<uint64_t>::max(), int64_t{5}, int64_t{0},
        std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max(), 0.0, -2.5, 3.0,
        0.1, std::numeric_limits<double>::infinity(), Texts{}, Texts{"one"}, Texts{"one", "two"}};
    for (LibraryValue const& value : values)
        EXPECT_EQ(sent(value), value) << "of type " << value.index();
}

TEST(AnswerBytes, carryNamesThatAreNoUtf8)
{
    using namespace std::string_literals;
    std::string const odd = "\xFF\xC3(\0x\n"s;
    EXPECT_EQ(sent(LibraryValue(odd)), LibraryValue(odd));
    EXPECT_EQ(sent(LibraryValue(std::vector<std::string>{odd})),
        LibraryValue(std::vector<std::string>{odd}));
    LibraryAnswer answer;
    answer.reason = odd;
    EXPECT_EQ(sent(answer).reason, odd);
}

TEST(AnswerBytes, carryTheQueryAndItsOutcome)
{
    LibraryAnswer answer;
    answer.query = "getMemoryInfo";
    answer.reason = "Failed to open: /proc/meminfo";
    answer.seconds = 1.25;
    for (auto const outcome :
        {LibraryAnswer::RETURNED_TRUE, LibraryAnswer::RETURNED_FALSE, LibraryAnswer::THREW}) {
        answer.outcome = outcome;
        LibraryAnswer const received = sent(answer);
        EXPECT_EQ(received.outcome, outcome);
        EXPECT_EQ(received.query, answer.query);
        EXPECT_EQ(received.reason, answer.reason);
        EXPECT_EQ(received.seconds, 1.25);
        EXPECT_THAT(received.records, SizeIs(0));
    }
}

TEST(AnswerBytes, carryRecordsInTheirOrder)
{
    LibraryAnswer answer;
    answer.records = {{"first", {{"a", uint64_t{1}}, {"b", uint64_t{2}}}}, {"second", {}}};
    LibraryAnswer const received = sent(answer);
    ASSERT_THAT(received.records, SizeIs(2));
    EXPECT_EQ(received.records[0].text, "first");
    EXPECT_EQ(received.records[0].fields.at(1).getter, "b");
    EXPECT_EQ(received.records[1].text, "second");
    EXPECT_THAT(received.records[1].fields, SizeIs(0));
}

TEST(AnswerBytes, throwWhereTheyAreCutShort)
{
    LibraryAnswer answer;
    answer.query = "getMemoryInfo";
    answer.records = {{"first", {{"a", uint64_t{1}}, {"b", std::vector<std::string>{"x"}}}}};
    std::string const bytes = app::bytesOf(answer);
    for (size_t size = 0; size < bytes.size(); ++size)
        EXPECT_THROW(app::answerOf(bytes.substr(0, size)), std::exception) << size;
}

TEST(LibraryRecord, hasTheDefaultForAFieldThatItLacks)
{
    LibraryRecord const record{"", {{"a", uint64_t{1}}}};
    EXPECT_EQ(record.get<uint64_t>("a"), 1U);
    EXPECT_EQ(record.get<uint64_t>("b"), 0U);
    EXPECT_EQ(record.get<std::string>("a"), "") << "of another type";
}

TEST(AnswerBytes, carryTheSourceAndTheTraceOfTheQuery)
{
    LibraryAnswer answer;
    answer.source = "cpu0 1\n\xFF";
    answer.trace = {"Found disk: /dev/sda", "Returning: 1 disks"};
    LibraryAnswer const received = sent(answer);
    EXPECT_EQ(received.source, answer.source);
    EXPECT_EQ(received.trace, answer.trace);
}
