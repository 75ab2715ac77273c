#include "common/basic/text_cast.h"
#include "tests/common/basic/grouping_locale.h"
#include "tests/common/basic/string_fields.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <string>

using dovrel::str_cast;
using dovrel::string;

namespace {

/** @return what a stream in the classic locale writes for @p value. */
template <class T> std::wstring streamed(T value)
{
    std::wostringstream out;
    out.imbue(std::locale::classic());
    out << value;
    return out.str();
}

TEST(StrCast, writesSignedNumbers)
{
    EXPECT_EQ(wide(str_cast(-5)), L"-5");
    EXPECT_EQ(wide(str_cast(0)), L"0");
    EXPECT_EQ(wide(str_cast(std::numeric_limits<int>::min())), L"-2147483648");
    EXPECT_EQ(wide(str_cast(std::numeric_limits<int>::max())), L"2147483647");
}

TEST(StrCast, writesUnsignedNumbers)
{
    EXPECT_EQ(wide(str_cast(0U)), L"0");
    EXPECT_EQ(wide(str_cast(4294967295U)), L"4294967295");
    EXPECT_EQ(wide(str_cast(static_cast<unsigned short>(65535))), L"65535");
    EXPECT_EQ(wide(str_cast(static_cast<unsigned short>(65))), L"65");
    EXPECT_EQ(wide(str_cast(0ULL)), L"0");
    EXPECT_EQ(wide(str_cast(18446744073709551615ULL)), L"18446744073709551615");
}

TEST(StrCast, writesMacAddresses)
{
    dovrel::macaddress_cpp address;
    address[0] = 0x00;
    address[1] = 0x1A;
    address[7] = 0xFF;
    EXPECT_EQ(wide(str_cast(address)), L"00:1a:00:00:00:00:00:ff");
    EXPECT_EQ(
        wide(str_cast<dovrel::macaddress_cpp, string, string>(address, L"a text ", L"before ")),
        L"a text before 00:1a:00:00:00:00:00:ff");
}

TEST(StrCast, writesBothStringsBeforeTheValueKept)
{
    EXPECT_EQ(wide(str_cast<unsigned, string, string>(7, L"a", L"b")), L"ab7");
    EXPECT_EQ(wide(str_cast<int, string, string>(-7, L"", L"b")), L"b-7");
    EXPECT_EQ(wide(str_cast<unsigned short, string, string>(7, L"a", L"")), L"a7");
    EXPECT_EQ(wide(str_cast<unsigned long long, string, string>(7, L"\u20AC", L"\U0001F600")),
        L"\u20AC\U0001F600"
        L"7");
    EXPECT_EQ(wide(str_cast<float, string, string>(0.5F, L"long leading text ", L"another: ")),
        L"long leading text another: 0.5");
}

TEST(StrCast, writesOneStringBeforeTheValue)
{
    EXPECT_EQ(wide(str_cast<int, string>(-5, L"x=")), L"x=-5");
    EXPECT_EQ(wide(str_cast<unsigned, string>(5, L"x=")), L"x=5");
    EXPECT_EQ(wide(str_cast<unsigned short, string>(5, L"x=")), L"x=5");
    EXPECT_EQ(wide(str_cast<unsigned long long, string>(5, L"x=")), L"x=5");
    EXPECT_EQ(wide(str_cast<float, string>(5.5F, L"x=")), L"x=5.5");
    EXPECT_EQ(wide(str_cast<dovrel::macaddress_cpp, string>(dovrel::macaddress_cpp(), L"x=")),
        L"x=00:00:00:00:00:00:00:00");
}

TEST(StrCast, writesFloatsWithSixSignificantDigits)
{
    EXPECT_EQ(wide(str_cast(0.1F)), L"0.1");
    EXPECT_EQ(wide(str_cast(12.5F)), L"12.5");
    EXPECT_EQ(wide(str_cast(0.0F)), L"0");
    EXPECT_EQ(wide(str_cast(-0.0F)), L"-0");
    EXPECT_EQ(wide(str_cast(1e20F)), L"1e+20");
    EXPECT_EQ(wide(str_cast(123456.0F)), L"123456");
    EXPECT_EQ(wide(str_cast(1234567.0F)), L"1.23457e+06");
    EXPECT_EQ(wide(str_cast(0.0001F)), L"0.0001");
    EXPECT_EQ(wide(str_cast(0.00001F)), L"1e-05");
    EXPECT_EQ(wide(str_cast(100.0F / 3)), L"33.3333");
}

TEST(StrCast, writesSpecialFloatsAsAStreamDoes)
{
    using Limits = std::numeric_limits<float>;
    for (float value : {Limits::infinity(), -Limits::infinity(), Limits::quiet_NaN(),
             -Limits::quiet_NaN(), Limits::min(), Limits::max(), Limits::lowest(),
             Limits::denorm_min(), -Limits::denorm_min(), Limits::epsilon()})
        EXPECT_EQ(wide(str_cast(value)), streamed(static_cast<double>(value)));
}

TEST(StrCast, writesAnyFloatAsAStreamDoes)
{
    std::mt19937 random(1985);
    for (int round = 0; round < 20000; ++round) {
        auto const bits = static_cast<uint32_t>(random());
        float value;
        std::memcpy(&value, &bits, sizeof value);
        ASSERT_EQ(wide(str_cast(value)), streamed(static_cast<double>(value))) << std::hex << bits;
    }
    for (int percent = -2000; percent <= 12000; ++percent) {
        float const value = static_cast<float>(percent) / 100;
        ASSERT_EQ(wide(str_cast(value)), streamed(static_cast<double>(value)));
    }
}

TEST(StrCast, writesAnyIntegerAsAStreamDoes)
{
    std::mt19937_64 random(1985);
    for (int round = 0; round < 5000; ++round) {
        unsigned long long const value = random() >> random() % 64;
        ASSERT_EQ(wide(str_cast(value)), streamed(value));
        ASSERT_EQ(wide(str_cast(static_cast<int>(value))), streamed(static_cast<int>(value)));
        ASSERT_EQ(
            wide(str_cast(static_cast<unsigned>(value))), streamed(static_cast<unsigned>(value)));
        auto const small = static_cast<unsigned short>(value);
        ASSERT_EQ(wide(str_cast(small)), streamed(small));
    }
}

TEST(StrCast, ignoresTheGlobalLocale)
{
    GroupingLocale const locale(L'.', 3);
    std::wostringstream control;
    control << 1234567;
    ASSERT_EQ(control.str(), L"1.234.567");
    EXPECT_EQ(wide(str_cast(1234567)), L"1234567");
    EXPECT_EQ(wide(str_cast(1234567U)), L"1234567");
    EXPECT_EQ(wide(str_cast(static_cast<unsigned short>(12345))), L"12345");
    EXPECT_EQ(wide(str_cast(123456789012ULL)), L"123456789012");
    EXPECT_EQ(wide(str_cast(12345.5F)), L"12345.5");
    EXPECT_EQ(wide(str_cast(dovrel::macaddress_cpp())), L"00:00:00:00:00:00:00:00");
}

TEST(LiteralCast, ignoresTheGlobalLocale)
{
    GroupingLocale const locale(L'.', 3);
    EXPECT_EQ(dovrel::literal_cast<int>(L"1.234.567", 9), 1);
    EXPECT_EQ(dovrel::literal_cast<long>(L"1234567", 9), 1234567);
    EXPECT_EQ(dovrel::literal_cast<long long>(L"123456789012", 9), 123456789012LL);
}

TEST(LiteralCast, readsAMacAddressWhenTheLocaleGroupsByColons)
{
    GroupingLocale const locale(L':', 2);
    dovrel::macaddress_cpp expected;
    expected[0] = 0x12;
    expected[1] = 0x34;
    EXPECT_TRUE(dovrel::literal_cast<dovrel::macaddress_cpp>(L"12:34:00:00:00:00", {}) == expected);
}

}
