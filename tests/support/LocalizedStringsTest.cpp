#include "support/LocalizedStrings.h"
#include "support/BundleInfo.h"

#include <gtest/gtest.h>

TEST(LocalizedStrings, LooksUpTextsByKey)
{
    EXPECT_EQ(LocalizedStrings::format(QStringLiteral("ErrorCannotModify"), QStringLiteral("The Band"),
                                       QStringLiteral("A Song"), QStringLiteral("disk full")),
              QStringLiteral("Could not modify The Band - A Song: disk full"));
    EXPECT_EQ(LocalizedStrings::text(QStringLiteral("NoSuchKeyAnywhere")),
              QStringLiteral("NoSuchKeyAnywhere"));
    EXPECT_TRUE(LocalizedStrings::format(QStringLiteral("CliAbout"), BundleInfo::shortVersion())
                    .contains(BundleInfo::shortVersion()));
}
