#include "app/recording/archive/escaped_text.h"

#include <gtest/gtest.h>

using app::escaped;
using app::isPlain;
using app::unescaped;

TEST(EscapedText, leavesTextOfAnyLanguageAsItIs)
{
    for (char const* const text : {"", "/dev/sda",
             "Gr\xc3\xbc\xc3\x9f"
             "e \xe2\x82\xac \xf0\x9f\x98\x80",
             "a \"b\" \\"}) {
        EXPECT_TRUE(isPlain(text)) << text;
        EXPECT_EQ(escaped(text), text);
        EXPECT_EQ(unescaped(text), text);
    }
}

TEST(EscapedText, hasEachByteOfAControlCharacterAndOfWhatIsNoUtf8)
{
    EXPECT_EQ(escaped("100 %"), "100 %25");
    EXPECT_EQ(escaped("a\nb\x1b[m\x7f"), "a%0Ab%1B[m%7F");
    EXPECT_EQ(escaped("\xc2\x85"), "%C2%85") << "a control character of ISO 6429";
    EXPECT_EQ(escaped("\xff\xc3"
                      "a"),
        "%FF%C3a");
    EXPECT_EQ(escaped("\xed\xa0\x80"), "%ED%A0%80") << "a surrogate";
    EXPECT_EQ(escaped("\xc0\xaf"), "%C0%AF") << "an overlong slash";
    EXPECT_EQ(escaped(std::string("a\0b", 3)), "a%00b");
}

TEST(EscapedText, keepsAllBytes)
{
    std::string bytes;
    for (unsigned first = 0; first <= 0xFF; ++first)
        for (unsigned second = 0; second <= 0xFF; second += 5)
            bytes += {static_cast<char>(first), static_cast<char>(second), '%'};

    std::string const text = escaped(bytes);

    EXPECT_TRUE(isPlain(text));
    EXPECT_EQ(unescaped(text), bytes);
}

TEST(EscapedText, isRefusedWithAWrongEscapeOrAControlCharacter)
{
    for (char const* const text :
        {"%", "%4", "a%", "%zz", "%4g", "% 4", "a\nb", "\xff", "\xc2\x85"})
        EXPECT_EQ(unescaped(text), std::nullopt) << text;
    EXPECT_EQ(unescaped("%4a%4A"), "JJ");
}
