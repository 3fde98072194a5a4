#include "support/WMFormat.h"

#include <QVariantMap>

#include <gtest/gtest.h>

namespace {

struct Described
{
    QString description() const { return QStringLiteral("<described>"); }
};

} // namespace

TEST(WMFormat, PrintsNumbersAsC)
{
    EXPECT_EQ(WMFormat::string("%d|%ld|%5d|%-4d|%03d", 7, 123456789012LL, 42, 1, 5),
              QStringLiteral("7|123456789012|   42|1   |005"));
    EXPECT_EQ(WMFormat::string("%u %x %X %o", 4000000000U, 255, 255, 8),
              QStringLiteral("4000000000 ff FF 10"));
    EXPECT_EQ(WMFormat::string("%.2f %.1f%@ %f", 3.14159, 0.94, QStringLiteral("K"), 1.5),
              QStringLiteral("3.14 0.9K 1.500000"));
    EXPECT_EQ(WMFormat::string("%02d/%02d/%x.cache", 3, 14, 0xbeefU), QStringLiteral("03/14/beef.cache"));
    EXPECT_EQ(WMFormat::string("100%% done"), QStringLiteral("100% done"));
}

TEST(WMFormat, SurvivesMismatchedArguments)
{
    EXPECT_EQ(WMFormat::string("a %d b %@ c"), QStringLiteral("a  b  c"));
    EXPECT_EQ(WMFormat::string("only %d", 1, 2, 3), QStringLiteral("only 1"));
    EXPECT_EQ(WMFormat::string("trailing %"), QStringLiteral("trailing %"));
    EXPECT_EQ(WMFormat::string("%@ as number: %d", QStringLiteral("12")), QStringLiteral("12 as number: "));
    EXPECT_EQ(WMFormat::string("%d", QStringLiteral("12")), QStringLiteral("12"));
    // A huge width is not turned into a huge buffer.
    EXPECT_FALSE(WMFormat::string("%99999999d", 1).isEmpty());
    EXPECT_EQ(WMFormat::string(nullptr, 1), QString());
}
