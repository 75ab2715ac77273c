#include "common/basic/NetworkError.h"
#include "tests/common/basic/grouping_locale.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <type_traits>

using dovrel::NetworkError;

namespace {

/** A host's derived class. It counts the calls of makeString. */
class HostError : public NetworkError {
public:
    using NetworkError::NetworkError;
    using NetworkError::operator=;

    void makeString() override
    {
        NetworkError::makeString();
        ++calls;
    }

    int calls = 0;
};

void expectError(NetworkError const& error, int code, std::string const& text)
{
    EXPECT_EQ(error.code(), code);
    EXPECT_EQ(error.what(), text);
    EXPECT_EQ(error.toString(), text);
    EXPECT_EQ(static_cast<bool>(error), code != 0);
    EXPECT_EQ(!error, code == 0);
}

}

TEST(NetworkError, hasNoCodeAndNoMessageByDefault)
{
    expectError(NetworkError(), 0, "");
}

TEST(NetworkError, hasAMessageWithItsCode)
{
    expectError(NetworkError(-2), -2, "Network Error: code = -2");
    expectError(NetworkError(-6), -6, "Network Error: code = -6");
    expectError(NetworkError(111), 111, "Network Error: code = 111");
    expectError(NetworkError(INT_MAX), INT_MAX, "Network Error: code = 2147483647");
    expectError(NetworkError(INT_MIN), INT_MIN, "Network Error: code = -2147483648");
}

TEST(NetworkError, hasAMessageWhenCodeZeroIsGiven)
{
    expectError(NetworkError(0), 0, "Network Error: code = 0");
    NetworkError assigned;
    assigned = 0;
    expectError(assigned, 0, "Network Error: code = 0");
}

TEST(NetworkError, updatesItsMessageWhenACodeIsAssigned)
{
    NetworkError error(-2);
    NetworkError const& returned = error = -6;
    EXPECT_EQ(&returned, &error);
    expectError(error, -6, "Network Error: code = -6");
    error = 0;
    expectError(error, 0, "Network Error: code = 0");
}

TEST(NetworkError, callsTheOverridingMakeStringWhenACodeIsAssigned)
{
    HostError error(-2);
    EXPECT_EQ(error.calls, 0);
    NetworkError& base = error;
    base = -6;
    EXPECT_EQ(error.calls, 1);
    expectError(error, -6, "Network Error: code = -6");
}

TEST(NetworkError, makesTheSameMessageAgain)
{
    NetworkError error;
    error.makeString();
    expectError(error, 0, "Network Error: code = 0");
    error.makeString();
    EXPECT_STREQ(error.what(), "Network Error: code = 0");
}

TEST(NetworkError, isCopiedWithItsMessage)
{
    NetworkError const original(-2);
    NetworkError const copy = original;
    NetworkError assigned(7);
    assigned = original;
    expectError(copy, -2, "Network Error: code = -2");
    expectError(assigned, -2, "Network Error: code = -2");
    EXPECT_NE(copy.what(), original.what());
}

TEST(NetworkError, isCaughtAsAStandardException)
{
    try {
        throw NetworkError(-6);
    } catch (std::exception const& caught) {
        EXPECT_STREQ(caught.what(), "Network Error: code = -6");
    }
}

TEST(NetworkError, ignoresTheDigitGroupingOfTheGlobalLocale)
{
    GroupingLocale const locale(L'.', 1);
    EXPECT_STREQ(NetworkError(-123456).what(), "Network Error: code = -123456");
}

TEST(NetworkError, convertsToBoolImplicitly)
{
    bool const none = NetworkError();
    bool const some = NetworkError(-2);
    bool const zero = NetworkError(0);
    EXPECT_FALSE(none);
    EXPECT_TRUE(some);
    EXPECT_FALSE(zero);
    EXPECT_TRUE((std::is_convertible_v<NetworkError const, bool>));
}

TEST(NetworkError, isNotConvertedFromIntImplicitly)
{
    EXPECT_FALSE((std::is_convertible_v<int, NetworkError>));
}
