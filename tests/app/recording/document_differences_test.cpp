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

TEST(DocumentDifferences, areOneLineForAnItemThatIsMissing)
{
    char const* const recorded =
        R"({"disks": [{"name": "a", "size": 1}, {"name": "b", "size": 2}, {"name": "c", "size": 3}],
            "mounts": [{"mount_point": "/a", "disks": ["a"]}, {"mount_point": "/b", "disks": []}],
            "list": [{"number": 0, "load": null}, {"number": 1, "load": null}],
            "differences": [{"subject": "disks", "item": "a", "fact": "size", "library": 3}]})";
    char const* const replayed =
        R"({"disks": [{"name": "b", "size": 2}, {"name": "c", "size": 4}],
            "mounts": [{"mount_point": "/b", "disks": ["b"]}],
            "list": [{"number": 1, "load": 0.5}],
            "differences": [{"subject": "disks", "item": "a", "fact": "size", "library": 4}]})";
    EXPECT_EQ(documentDifferences(recorded, replayed, ListOrder::COUNTS),
        "/differences/disks a size/library: recorded 3, replayed 4\n"
        "/disks/a: recorded {\"name\":\"a\",\"size\":1}, replayed nothing\n"
        "/disks/c/size: recorded 3, replayed 4\n"
        "/list/0: recorded {\"load\":null,\"number\":0}, replayed nothing\n"
        "/list/1/load: recorded null, replayed 0.5\n"
        "/mounts/~1a: recorded {\"disks\":[\"a\"],\"mount_point\":\"/a\"}, replayed nothing\n"
        "/mounts/~1b/disks/-: recorded nothing, replayed \"b\"\n");
}

TEST(DocumentDifferences, areOneLineForAnotherOrderOfNamedItems)
{
    EXPECT_EQ(documentDifferences(R"([{"name": "a"}, {"name": "b"}, {"name": "c"}])",
                  R"([{"name": "c"}, {"name": "a"}, {"name": "b"}])", ListOrder::COUNTS),
        "/(order): recorded \"a, b, c\", replayed \"c, a, b\"\n");
}

TEST(DocumentDifferences, goByIndexWhereTwoItemsHaveOneName)
{
    EXPECT_EQ(documentDifferences(R"([{"name": "a", "size": 1}, {"name": "a", "size": 2}])",
                  R"([{"name": "a", "size": 1}, {"name": "a", "size": 3}])", ListOrder::COUNTS),
        "/1/size: recorded 2, replayed 3\n");
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
