#include "library/WMHumanValueToString.h"

#include <gtest/gtest.h>

TEST(WMHumanValueToString, SmallValuesKeepTheirDecimals)
{
    EXPECT_EQ(WMHumanValueToString(12.5), QStringLiteral("12.5"));
    EXPECT_EQ(WMHumanValueToString(3), QStringLiteral("3.0"));
    EXPECT_EQ(WMHumanValueToString(0), QStringLiteral("0.0"));
    EXPECT_EQ(WMHumanValueToString(0.123456), QStringLiteral("0.12346"));
    EXPECT_EQ(WMHumanValueToString(100), QStringLiteral("100.0"));
    EXPECT_EQ(WMHumanValueToString(-2.5), QStringLiteral("-2.5"));
}
