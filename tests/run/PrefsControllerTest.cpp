#include "TestSupport.h"

#include "run/PrefsController.h"

#include <QFile>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

QByteArray plist(const char* body)
{
    return QByteArray("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n") +
           body + "\n</dict>\n</plist>\n";
}

class PrefsControllerTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        unsetenv("QUILLBEAT_RESOURCES");
        QFile::remove(PrefsController::cachedResourcesPath());
        PrefsController::sharedInstance().getUserPreferences();
    }
};

} // namespace

TEST_F(PrefsControllerTest, ShipsTheDefaultResources)
{
    PrefsController::sharedInstance().getUserPreferences();
    const QVariantMap res = PrefsController::sharedInstance().liveResources();
    const QVariantList genres = res.value(QStringLiteral("genres")).toList();
    ASSERT_EQ(genres.size(), 192);
    EXPECT_EQ(genres.at(0).toString(), QStringLiteral("Blues"));
    EXPECT_EQ(genres.at(14).toString(), QStringLiteral("R&B"));
    EXPECT_EQ(genres.at(79).toString(), QStringLiteral("Hard Rock"));
    EXPECT_EQ(genres.at(191).toString(), QStringLiteral("Psybient"));
    EXPECT_EQ(res.value(QStringLiteral("sourcelist")).typeId(), QMetaType::QVariantList);
    EXPECT_EQ(res.value(QStringLiteral("clearCacheAtLaunch")).toInt(), 0);
    const QVariantMap simplifiers = res.value(QStringLiteral("simplifiers")).toMap();
    EXPECT_EQ(simplifiers.value(QStringLiteral(" & ")).toString(), QStringLiteral(" "));
    EXPECT_EQ(simplifiers.value(QStringLiteral(" vol. ")).toString(), QStringLiteral(" vol "));
    EXPECT_GT(simplifiers.size(), 20);
}

TEST_F(PrefsControllerTest, MergesTheCachedAndTheEnvironmentResources)
{
    ASSERT_TRUE(TestSupport::writeFile(PrefsController::cachedResourcesPath(), plist(R"(
        <key>clearCacheAtLaunch</key><integer>1</integer>
        <key>res_WikipediaInterface</key><dict><key>searchURL</key><string>cached</string>
            <key>maximumMatches</key><integer>4</integer></dict>)")));
    const QString envFile = TestSupport::scratchFolder() + QStringLiteral("/env-res.plist");
    ASSERT_TRUE(TestSupport::writeFile(envFile, plist(R"(
        <key>sourcelist</key><array><string>WikipediaInterface</string></array>
        <key>res_WikipediaInterface</key><dict><key>searchURL</key><string>http://127.0.0.1:1/</string></dict>)")));
    setenv("QUILLBEAT_RESOURCES", envFile.toLocal8Bit().constData(), 1);

    PrefsController& prefs = PrefsController::sharedInstance();
    prefs.getUserPreferences();
    const QVariantMap res = prefs.liveResources();
    EXPECT_EQ(res.value(QStringLiteral("clearCacheAtLaunch")).toInt(), 1);
    EXPECT_EQ(res.value(QStringLiteral("sourcelist")).toList(),
              QVariantList{QStringLiteral("WikipediaInterface")});
    const QVariantMap section = res.value(QStringLiteral("res_WikipediaInterface")).toMap();
    EXPECT_EQ(section.value(QStringLiteral("searchURL")).toString(), QStringLiteral("http://127.0.0.1:1/"));
    EXPECT_EQ(section.value(QStringLiteral("maximumMatches")).toInt(), 4) << "sections merge key by key";
    EXPECT_EQ(res.value(QStringLiteral("genres")).toList().size(), 192) << "defaults stay underneath";

    // Kept until dropped.
    unsetenv("QUILLBEAT_RESOURCES");
    EXPECT_EQ(prefs.liveResources().value(QStringLiteral("sourcelist")).toList().size(), 1);
    prefs.getUserPreferences();
    const QStringList shipped = prefs.liveResources().value(QStringLiteral("sourcelist")).toStringList();
    EXPECT_GT(shipped.size(), 1);
    EXPECT_TRUE(shipped.contains(QStringLiteral("MusicBrainzInterface")));
}

TEST_F(PrefsControllerTest, IgnoresAnUnreadableOverride)
{
    const QString envFile = TestSupport::scratchFolder() + QStringLiteral("/garbage-res.plist");
    ASSERT_TRUE(TestSupport::writeFile(envFile, QByteArray("\x00\x01not a plist at all", 19)));
    setenv("QUILLBEAT_RESOURCES", envFile.toLocal8Bit().constData(), 1);
    PrefsController::sharedInstance().getUserPreferences();
    EXPECT_EQ(
        PrefsController::sharedInstance().liveResources().value(QStringLiteral("genres")).toList().size(),
        192);
}

TEST(PrefsControllerMerge, ReplacesTopLevelKeysAndNonDictionarySections)
{
    const QVariantMap base{{QStringLiteral("res_A"), QVariantMap{{QStringLiteral("x"), 1}}},
                           {QStringLiteral("plain"), QVariantMap{{QStringLiteral("x"), 1}}}};
    const QVariantMap overlay{{QStringLiteral("res_A"), QStringLiteral("scalar")},
                              {QStringLiteral("plain"), QVariantMap{{QStringLiteral("y"), 2}}}};
    const QVariantMap merged = PrefsController::mergedResources(base, overlay);
    EXPECT_EQ(merged.value(QStringLiteral("res_A")).toString(), QStringLiteral("scalar"));
    EXPECT_EQ(merged.value(QStringLiteral("plain")).toMap().size(), 1) << "only res_ sections merge";
}
