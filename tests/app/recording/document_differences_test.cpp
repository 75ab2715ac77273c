#include "app/recording/document_differences.h"

#include <gtest/gtest.h>

using app::documentDifferences;
using app::ListOrder;

TEST(DocumentDifferences, areNoneBetweenEqualDocuments)
{
    EXPECT_EQ(documentDifferences(R"({"a": [1, 2]})", R"({"a":[1,2]})", ListOrder::COUNTS), "");
}

TEST(DocumentDifferences, haveThePathAndBothValues)
{
    EXPECT_EQ(documentDifferences(
                  R"({"a": {"b": 1}, "c": 2})", R"({"a": {"b": null}, "d": 3})", ListOrder::COUNTS),
        "/a/b: recorded 1, replayed null\n"
        "/c: recorded 2, replayed nothing\n"
        "/d: recorded nothing, replayed 3\n");
}

TEST(DocumentDifferences, haveFurtherItemsOfAList)
{
    EXPECT_EQ(documentDifferences("[1]", "[1, [2]]", ListOrder::COUNTS),
        "/-: recorded nothing, replayed [2]\n");
}

TEST(DocumentDifferences, mayLeaveTheOrderOfListsOut)
{
    char const* const one = R"([{"name": "a", "list": [1, 2]}, {"name": "b"}])";
    char const* const other = R"([{"name": "b"}, {"name": "a", "list": [2, 1]}])";
    EXPECT_NE(documentDifferences(one, other, ListOrder::COUNTS), "");
    EXPECT_EQ(documentDifferences(one, other, ListOrder::DOES_NOT_COUNT), "");
}

TEST(DocumentDifferences, sayWhereThereIsNoDocument)
{
    EXPECT_EQ(documentDifferences("", "{}", ListOrder::COUNTS),
        "The recording has no document of the recorded machine.\n");
    EXPECT_EQ(
        documentDifferences("{", "{}", ListOrder::COUNTS), "The recorded document is no JSON.\n");
    EXPECT_EQ(
        documentDifferences("{}", "x", ListOrder::COUNTS), "The replayed document is no JSON.\n");
}
