#include "app/write/JsonWriter.h"

#include <gtest/gtest.h>

#include <limits>

using app::JsonWriter;

namespace {

template <class Value> std::string writtenOf(Value const& value)
{
    JsonWriter json(JsonWriter::ONE_LINE);
    json.value(value);
    return json.text();
}

void writeExample(JsonWriter& json)
{
    json.beginObject();
    json.key("list");
    json.beginArray();
    json.value(true);
    json.null();
    json.beginObject();
    json.key("a");
    json.value("b");
    json.endObject();
    json.endArray();
    json.key("nothing");
    json.beginArray();
    json.endArray();
    json.key("none");
    json.beginObject();
    json.endObject();
    json.key("last");
    json.value(uint64_t{1});
    json.endObject();
}

}

TEST(JsonWriter, writesObjectsAndArraysOnOneLine)
{
    JsonWriter json(JsonWriter::ONE_LINE);
    writeExample(json);

    EXPECT_EQ(json.text(), R"({"list":[true,null,{"a":"b"}],"nothing":[],"none":{},"last":1})");
}

TEST(JsonWriter, indentsByTwoBlanksALevel)
{
    JsonWriter json(JsonWriter::INDENTED);
    writeExample(json);

    EXPECT_EQ(json.text(), R"({
  "list": [
    true,
    null,
    {
      "a": "b"
    }
  ],
  "nothing": [],
  "none": {},
  "last": 1
})");
}

TEST(JsonWriter, writesNumbersInFull)
{
    EXPECT_EQ(writtenOf(std::numeric_limits<uint64_t>::max()), "18446744073709551615");
    EXPECT_EQ(writtenOf(std::numeric_limits<int64_t>::min()), "-9223372036854775808");
    EXPECT_EQ(writtenOf(0.1), "0.1");
    EXPECT_EQ(writtenOf(1.0 / 3), "0.3333333333333333");
    EXPECT_EQ(writtenOf(-2.5e-7), "-2.5e-07");
}

TEST(JsonWriter, writesAPointInEachDouble)
{
    EXPECT_EQ(writtenOf(0.0), "0.0");
    EXPECT_EQ(writtenOf(12.0), "12.0");
    EXPECT_EQ(writtenOf(1e300), "1e+300");
}

TEST(JsonWriter, writesNullForADoubleThatIsNoNumber)
{
    EXPECT_EQ(writtenOf(std::numeric_limits<double>::infinity()), "null");
    EXPECT_EQ(writtenOf(std::numeric_limits<double>::quiet_NaN()), "null");
}

TEST(JsonWriter, escapesQuotesBackslashesAndControlCharacters)
{
    using namespace std::string_literals;
    EXPECT_EQ(writtenOf("a\"b\\c/"s), R"("a\"b\\c/")");
    EXPECT_EQ(writtenOf("\0\x1F \x7E\x7F\n"s), R"("\u0000\u001f ~\u007f\n")");
    EXPECT_EQ(writtenOf("\xC2\x80\xC2\x9F\xC2\xA0"s), "\"\\u0080\\u009f\xC2\xA0\"");
}

TEST(JsonWriter, keepsUtf8AndReplacesEachOtherByte)
{
    EXPECT_EQ(writtenOf("Z\xC3\xBCrich \xF0\x9F\x92\xBE"), "\"Z\xC3\xBCrich \xF0\x9F\x92\xBE\"");
    // A byte alone, one that is cut short, a surrogate's first byte, an overlong zero.
    for (char const* const odd : {"\xFC", "\xC3", "\xED\xA0\x80", "\xC0\x80"}) {
        std::string const text = writtenOf(odd);
        EXPECT_EQ(text.find("\"\xEF\xBF\xBD"), 0U) << text;
        EXPECT_EQ(text.size(), 2 + 3 * std::string(odd).size()) << text;
    }
}
