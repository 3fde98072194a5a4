// The preferences panel and the damaged tags window: every value the panel
// shows is stored and shown again, "Use Defaults" removes the panel's own
// settings (not the Discogs key nor the statistics choice), and
// regenerating rebuilds a damaged tag and empties the list.
#include "AppTestWindow.h"

#include "LoadTestFiles.h"
#include "PreferencesDialog.h"
#include "RegenerateWindow.h"
#include "SongCommands.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSettings>
#include <QSlider>
#include <QTest>

namespace {

template <typename Control> Control* named(QWidget* parent, const char* key)
{
    return AppTestWindow::named<Control>(parent, text(key));
}

// What the panel shows, control by control.
QStringList shown(QWidget* panel)
{
    QStringList values;
    for (const char* slider : {"PrefsMinimumSize", "PrefsMaximumSize", "PrefsThreshold"})
        values.append(QString::number(named<QSlider>(panel, slider)->value()));
    for (const char* box : {"PrefsIgnoreNonSquare", "PrefsNoiTunesArtwork", "PrefsKeepiTunesRefreshed",
                            "PrefsPostStatistics", "PrefsID3AccurateSizes", "PrefsRecordHistory"})
        values.append(named<QAbstractButton>(panel, box)->isChecked() ? QStringLiteral("on")
                                                                      : QStringLiteral("off"));
    for (QComboBox* box : panel->findChildren<QComboBox*>())
        values.append(box->currentText());
    for (const char* field : {"PrefsDiscogsKey", "PrefsDiscogsSecret"})
        values.append(named<QLineEdit>(panel, field)->text());
    return values;
}

} // namespace

TEST(PanelsTest, ThePreferencesPanelStoresAndShowsAgainEveryValue)
{
    AppTestWindow app;
    app.choose("Preferences");
    auto* panel = app.window().findChild<PreferencesDialog*>();
    ASSERT_NE(panel, nullptr);
    ASSERT_TRUE(panel->isVisible());

    // Keys on the sliders, clicks on the boxes, a choice, typing.
    QTest::keyClick(named<QSlider>(panel, "PrefsMinimumSize"), Qt::Key_Right);
    QTest::keyClick(named<QSlider>(panel, "PrefsMaximumSize"), Qt::Key_End);
    QTest::keyClick(named<QSlider>(panel, "PrefsThreshold"), Qt::Key_Home);
    for (const char* box : {"PrefsIgnoreNonSquare", "PrefsNoiTunesArtwork", "PrefsKeepiTunesRefreshed",
                            "PrefsPostStatistics", "PrefsID3AccurateSizes", "PrefsRecordHistory"})
        named<QAbstractButton>(panel, box)->click();
    auto* cache = panel->findChild<QComboBox*>();
    cache->setCurrentIndex(cache->findData(50));
    auto* history = named<QComboBox>(panel, "PrefsHistorySize");
    history->setCurrentIndex(history->findData(1000));
    QTest::keyClicks(named<QLineEdit>(panel, "PrefsDiscogsKey"), QStringLiteral("my-key"));
    QTest::keyClicks(named<QLineEdit>(panel, "PrefsDiscogsSecret"), QStringLiteral("my-secret"));
    QCoreApplication::processEvents();

    const QVariantMap expected = {{QStringLiteral("minImageSize"), 150.0},
                                  {QStringLiteral("maxImageSize"), 32767.0},
                                  {QStringLiteral("overwriteImageThreshold"), 0.0},
                                  {QStringLiteral("ignoreNonSquareArt"), false},
                                  {QStringLiteral("noiTunesArtwork"), true},
                                  {QStringLiteral("keepiTunesRefreshed"), false},
                                  {QStringLiteral("postStatistics"), true},
                                  {QStringLiteral("id3v24Accurate"), true},
                                  {QStringLiteral("cacheSizeMB"), 50},
                                  {QStringLiteral("recordHistory"), false},
                                  {QStringLiteral("historySizeMB"), 1000},
                                  {QStringLiteral("discogsApiKey"), QStringLiteral("my-key")},
                                  {QStringLiteral("discogsSecret"), QStringLiteral("my-secret")}};
    QSettings settings;
    for (auto it = expected.cbegin(); it != expected.cend(); ++it)
        EXPECT_EQ(settings.value(it.key()).toString(), it.value().toString()) << it.key().toStdString();

    // A panel made anew shows what was stored.
    const QStringList before = shown(panel);
    PreferencesDialog again;
    EXPECT_EQ(shown(&again), before);

    // Use Defaults removes the panel's own settings, not the key, the
    // secret or the statistics choice, and shows the defaults.
    named<QPushButton>(panel, "PrefsUseDefaults")->click();
    for (const char* key : {"minImageSize", "maxImageSize", "overwriteImageThreshold", "ignoreNonSquareArt",
                            "cacheSizeMB", "keepiTunesRefreshed", "id3v24Accurate", "noiTunesArtwork"})
        EXPECT_FALSE(settings.contains(QLatin1String(key))) << key;
    for (const char* key : {"discogsApiKey", "discogsSecret", "postStatistics"})
        EXPECT_TRUE(settings.contains(QLatin1String(key))) << key;
    EXPECT_EQ(named<QSlider>(panel, "PrefsMinimumSize")->value(), 100);
    EXPECT_TRUE(named<QAbstractButton>(panel, "PrefsIgnoreNonSquare")->isChecked());
}

TEST(PanelsTest, RegeneratingRebuildsADamagedTagAndEmptiesTheList)
{
    const QString folder = AppTestWindow::folder(QStringLiteral("regenerate"));
    ASSERT_TRUE(
        LoadTestFiles::writeDamagedSong(folder + QStringLiteral("/hurt.mp3"), QStringLiteral("Hurt")));
    AppTestWindow::writeSongs(folder, {QStringLiteral("Whole")}, {});
    AppTestWindow app;
    ASSERT_TRUE(app.load(folder));
    RegenerateWindow& window = app.window().commands()->regenerateWindow();
    ASSERT_TRUE(AppTestWindow::waitFor([&] { return window.isVisible(); }));
    EXPECT_EQ(window.rows(), QStringList{QStringLiteral("Hurt (Lost)")});
    EXPECT_EQ(app.cell("Hurt", SongColumn::Active), text("ToolTipStatusProblem"));

    named<QPushButton>(&window, "RegenerateButton")->click();
    EXPECT_FALSE(window.isVisible());
    EXPECT_TRUE(window.rows().isEmpty());
    std::unique_ptr<AudioInfoTag> tag = AudioInfoTag::tagWithPath(folder + QStringLiteral("/hurt.mp3"));
    ASSERT_TRUE(tag);
    EXPECT_FALSE(tag->encounteredProblemDecoding());
    EXPECT_EQ(tag->title(), QStringLiteral("Hurt"));
    EXPECT_EQ(tag->numberOfImages(), 2);
    EXPECT_NE(app.cell("Hurt", SongColumn::Active), text("ToolTipStatusProblem"));
    EXPECT_TRUE(app.logText().contains(
        LocalizedStrings::format(QStringLiteral("RegenerateDone"), folder + QStringLiteral("/hurt.mp3"))));
}
