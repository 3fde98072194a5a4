#include "run/PreferenceKeys.h"
#include "run/PrefsController.h"
#include "run/WindowPrefs.h"

#include <QSettings>

#include <gtest/gtest.h>

namespace {

class PreferencesTest : public ::testing::Test
{
protected:
    void SetUp() override { QSettings().clear(); }
    void TearDown() override { QSettings().clear(); }
};

} // namespace

TEST_F(PreferencesTest, AccessorsAnswerTheirDefaultsAndFollowTheStore)
{
    PrefsController& prefs = PrefsController::sharedInstance();
    EXPECT_FLOAT_EQ(prefs.minimumImageSize(), 100.0f);
    EXPECT_FLOAT_EQ(prefs.maximumImageSize(), 450.0f);
    // A missing threshold is the slider's top: existing art is always replaced.
    EXPECT_FLOAT_EQ(prefs.overwriteImageThreshold(), 32767.0f);
    EXPECT_TRUE(prefs.ignoreNonSquareArtwork());
    EXPECT_TRUE(prefs.keepiTunesRefreshed());
    EXPECT_EQ(prefs.cacheSizeMB(), 10);
    EXPECT_TRUE(prefs.drawerIsOpen());
    EXPECT_EQ(prefs.libraryPlaylist(), QStringLiteral("Library"));

    QSettings().setValue(QStringLiteral("drawerClosed"), true);
    EXPECT_FALSE(prefs.drawerIsOpen());
    prefs.setDrawerOpen(true);
    EXPECT_FALSE(QSettings().value(QStringLiteral("drawerClosed")).toBool());

    // No iTunes here: a folder is the source until one is chosen.
    EXPECT_EQ(prefs.librarySource(), SongSourceKind::Folder);
    EXPECT_TRUE(prefs.libraryDirectory().endsWith(QStringLiteral("/Music")));
    prefs.setLibraryPlaylist(QStringLiteral("Jazz"));
    EXPECT_EQ(prefs.librarySource(), SongSourceKind::Playlist);
    prefs.setLibraryPlaylist(QString());
    EXPECT_EQ(prefs.libraryPlaylist(), QStringLiteral("Library"));
}

TEST_F(PreferencesTest, ImageSizesAreStoredAsThePanelDoes)
{
    PrefsController& prefs = PrefsController::sharedInstance();
    // A maximum below the minimum is pulled up to it.
    prefs.storeImageSizes(300, 200, 500, 0, 1000);
    EXPECT_FLOAT_EQ(prefs.maximumImageSize(), 300.0f);
    EXPECT_FLOAT_EQ(prefs.minimumImageSize(), 300.0f);
    EXPECT_FLOAT_EQ(prefs.overwriteImageThreshold(), 500.0f);
    // Sliders at their ends mean no limit, no minimum, always.
    prefs.storeImageSizes(0, 1000, 1000, 0, 1000);
    EXPECT_FLOAT_EQ(prefs.maximumImageSize(), 32767.0f);
    EXPECT_FLOAT_EQ(prefs.minimumImageSize(), 0.0f);
    EXPECT_FLOAT_EQ(prefs.overwriteImageThreshold(), 32767.0f);
}

TEST_F(PreferencesTest, UseDefaultsKeepsChecksLyricsFilterAndSource)
{
    QSettings settings;
    settings.setValue(QStringLiteral("minImageSize"), 250);
    settings.setValue(QStringLiteral("noiTunesArtwork"), true);
    settings.setValue(QStringLiteral("checkYear"), false);
    settings.setValue(QStringLiteral("filterLyrics"), true);
    settings.setValue(QStringLiteral("_source"), 1);
    PrefsController::sharedInstance().useDefaults();
    EXPECT_FLOAT_EQ(PrefsController::sharedInstance().minimumImageSize(), 100.0f);
    EXPECT_FALSE(PrefsController::sharedInstance().noiTunesArtwork());
    EXPECT_FALSE(settings.value(QStringLiteral("checkYear")).toBool());
    EXPECT_TRUE(settings.value(QStringLiteral("filterLyrics")).toBool());
    EXPECT_EQ(settings.value(QStringLiteral("_source")).toInt(), 1);
}

TEST_F(PreferencesTest, WindowChoicesNeedTheCurrentPrefsVersion)
{
    QSettings settings;
    settings.setValue(QStringLiteral("checkYear"), false);
    settings.setValue(QStringLiteral("overwriteGenre"), true);
    settings.setValue(QStringLiteral("albumPickingMethod"), 1);
    // Version 2 (or none) is a first launch: all checks on, controls at 0.
    settings.setValue(QStringLiteral("prefsVersion"), 2);
    WindowPrefs first = WindowPrefs::readPrefs();
    EXPECT_EQ(first.checkFlags(), WindowPrefs::WindowAssets);
    EXPECT_FALSE(first.overwriteFlags());
    EXPECT_EQ(first.albumPickingMethod(), 0);

    settings.setValue(QStringLiteral("prefsVersion"), 3);
    WindowPrefs stored = WindowPrefs::readPrefs();
    EXPECT_FALSE(stored.checkFlags().testFlag(AlbumAsset::Year));
    EXPECT_TRUE(stored.checkFlags().testFlag(AlbumAsset::Lyrics));
    EXPECT_EQ(stored.overwriteFlags(), AlbumAssets(AlbumAsset::Genre));
    EXPECT_EQ(stored.albumPickingMethod(), 1);

    stored.setOverwriteFlags(AlbumAssets(AlbumAsset::Artwork) | AlbumAsset::Tempo);
    stored.writePrefs();
    EXPECT_EQ(WindowPrefs::readPrefs().overwriteFlags(), AlbumAssets(AlbumAsset::Artwork));
}

TEST_F(PreferencesTest, AssetNamesAndKeyValuesAreParsedStrictly)
{
    EXPECT_EQ(WindowPrefs::assetsFromNames(QStringLiteral("album, Year,lyrics")),
              AlbumAssets(AlbumAsset::AlbumName) | AlbumAsset::Year | AlbumAsset::Lyrics);
    EXPECT_FALSE(WindowPrefs::assetsFromNames(QStringLiteral("album,colour")));
    EXPECT_EQ(WindowPrefs::namesOfAssets(AlbumAssets(AlbumAsset::Track) | AlbumAsset::AlbumName),
              QStringLiteral("album,track"));

    const PreferenceKeys::Key* min = PreferenceKeys::find(QStringLiteral("minImageSize"));
    ASSERT_NE(min, nullptr);
    EXPECT_EQ(PreferenceKeys::valueFromText(*min, QStringLiteral("250"))->toDouble(), 250.0);
    EXPECT_FALSE(PreferenceKeys::valueFromText(*min, QStringLiteral("big")));
    EXPECT_FALSE(PreferenceKeys::valueFromText(*min, QStringLiteral("nan")));
    const PreferenceKeys::Key* flag = PreferenceKeys::find(QStringLiteral("noiTunesArtwork"));
    EXPECT_EQ(PreferenceKeys::valueFromText(*flag, QStringLiteral("yes")), QVariant(true));
    EXPECT_FALSE(PreferenceKeys::valueFromText(*flag, QStringLiteral("maybe")));
    EXPECT_EQ(PreferenceKeys::find(QStringLiteral("nonsense")), nullptr);
}
