// The stored preferences: what the accessors make of the store, the image
// sizes as the panel stores them, Use Defaults, the window's choices, the
// parsing of asset names and values, and the resources merged from the
// cache and from QUILLBEAT_RESOURCES over the shipped ones.
#include "TestSupport.h"

#include "run/PreferenceKeys.h"
#include "run/PrefsController.h"
#include "run/WindowPrefs.h"

#include <QFile>
#include <QSettings>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

class PreferencesTest : public ::testing::Test
{
protected:
    void SetUp() override { QSettings().clear(); }
    void TearDown() override { QSettings().clear(); }
};

class PrefsControllerTest : public ::testing::Test
{
protected:
    void TearDown() override
    {
        unsetenv("QUILLBEAT_RESOURCES");
        QFile::remove(PrefsController::cachedResourcesPath());
        PrefsController::sharedInstance().getUserPreferences();
    }

    static int genreCount()
    {
        return int(PrefsController::sharedInstance()
                       .liveResources()
                       .value(QStringLiteral("genres"))
                       .toList()
                       .size());
    }
};

} // namespace

TEST_F(PreferencesTest, AccessorsFollowTheStore)
{
    PrefsController& prefs = PrefsController::sharedInstance();
    // A missing threshold is the slider's top: existing art is always replaced.
    EXPECT_FLOAT_EQ(prefs.overwriteImageThreshold(), 32767.0f);
    EXPECT_TRUE(prefs.drawerIsOpen());
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

    const struct
    {
        const char* key;
        const char* text;
        QVariant value; // invalid: refused
    } rows[] = {
        {"minImageSize", "250", 250.0},   {"minImageSize", "big", {}},      {"minImageSize", "nan", {}},
        {"noiTunesArtwork", "yes", true}, {"noiTunesArtwork", "maybe", {}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string(row.key) + " = " + row.text);
        const PreferenceKeys::Key* key = PreferenceKeys::find(QLatin1String(row.key));
        ASSERT_NE(key, nullptr);
        const std::optional<QVariant> value = PreferenceKeys::valueFromText(*key, QLatin1String(row.text));
        EXPECT_EQ(value.value_or(QVariant()), row.value);
    }
    EXPECT_EQ(PreferenceKeys::find(QStringLiteral("nonsense")), nullptr);
}

TEST_F(PrefsControllerTest, IgnoresAnUnreadableOverride)
{
    const QString envFile = TestSupport::scratchFolder() + QStringLiteral("/garbage-res.plist");
    ASSERT_TRUE(TestSupport::writeFile(envFile, QByteArray("\x00\x01not a plist at all", 19)));
    setenv("QUILLBEAT_RESOURCES", envFile.toLocal8Bit().constData(), 1);
    PrefsController::sharedInstance().getUserPreferences();
    EXPECT_EQ(genreCount(), 192);
}
