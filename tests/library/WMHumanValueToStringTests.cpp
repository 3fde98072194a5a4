#include "library/WMHumanValueToString.h"

#include <gtest/gtest.h>

TEST(WMHumanValueToString, TakesAUnitWithinTenPerCentBelowIt)
{
    EXPECT_EQ(WMHumanValueToString(920), QStringLiteral("0.9K"));
    EXPECT_EQ(WMHumanValueToString(909), QStringLiteral("909.0"));
    EXPECT_EQ(WMHumanValueToString(1e6), QStringLiteral("1.0M"));
    EXPECT_EQ(WMHumanValueToString(25.5e6), QStringLiteral("25.5M"));
    EXPECT_EQ(WMHumanValueToString(3.2e9), QStringLiteral("3.2G"));
    EXPECT_EQ(WMHumanValueToString(1e12), QStringLiteral("1.0T"));
    EXPECT_EQ(WMHumanValueToString(7e15), QStringLiteral("7.0P"));
    EXPECT_EQ(WMHumanValueToString(5e18), QStringLiteral("5000.0P"));
}

TEST(WMHumanValueToString, SmallValuesKeepTheirDecimals)
{
    EXPECT_EQ(WMHumanValueToString(12.5), QStringLiteral("12.5"));
    EXPECT_EQ(WMHumanValueToString(3), QStringLiteral("3.0"));
    EXPECT_EQ(WMHumanValueToString(0), QStringLiteral("0.0"));
    EXPECT_EQ(WMHumanValueToString(0.123456), QStringLiteral("0.12346"));
    EXPECT_EQ(WMHumanValueToString(100), QStringLiteral("100.0"));
    EXPECT_EQ(WMHumanValueToString(-2.5), QStringLiteral("-2.5"));
}
