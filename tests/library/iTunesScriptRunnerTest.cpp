#include "ScriptBridgeFixture.h"
#include "TestSupport.h"

#include "library/PropertyListReader.h"
#include "support/WMLog.h"
#include "text/WMCompressionExtensions.h"

#include <QFile>
#include <QRegularExpression>
#include <QVariantMap>

#include <limits>

namespace {

using Runner = iTunesScriptRunner;
using Catalogue = iTunesScriptCatalogue;

QString logText()
{
    return QString::fromUtf8(TestSupport::readFile(WMLogLocation()));
}

// The conversions of a script format in order, e.g. "d@@".
QString conversions(const QString& format)
{
    QString found;
    static const QRegularExpression conversion(QStringLiteral("%(.)"));
    for (auto it = conversion.globalMatch(format); it.hasNext();) {
        const QString c = it.next().captured(1);
        if (c != QLatin1String("%"))
            found += c;
    }
    return found;
}

} // namespace

class ScriptRunnerTest : public ScriptBridgeFixture
{};

TEST_F(ScriptRunnerTest, AnswersTheOutputLessOneLineBreak)
{
    mFake->answer("marker-text", "hello\r\n\n");
    mFake->answer("marker-number", " 42 apples\n");
    EXPECT_EQ(Runner::stringFromScript(QStringLiteral("-- marker-text")), QStringLiteral("hello\r\n"));
    EXPECT_EQ(Runner::intFromScript(QStringLiteral("-- marker-number")), 42);
    EXPECT_EQ(mFake->lastScript(), QStringLiteral("-- marker-number"));
    const auto timed = Runner::descFromScript(QStringLiteral("-- marker-text"), 30.0f);
    ASSERT_TRUE(timed);
    EXPECT_EQ(timed->stringValue, QStringLiteral("hello\r\n"));
    EXPECT_FALSE(Runner::isLocked());
}

TEST(ScriptDescriptorTest, IntegerValueIsTheLeadingInteger)
{
    const auto value = [](const char* text) {
        return Runner::Descriptor{QString::fromUtf8(text)}.intValue();
    };
    EXPECT_EQ(value("12.1.3"), 12);
    EXPECT_EQ(value("  -7 tracks"), -7);
    EXPECT_EQ(value("+5"), 5);
    EXPECT_EQ(value(""), 0);
    EXPECT_EQ(value("none"), 0);
    EXPECT_EQ(value("-"), 0);
    EXPECT_EQ(value("99999999999999999999"), std::numeric_limits<int>::max());
    EXPECT_EQ(value("-99999999999999999999"), std::numeric_limits<int>::min());
}

TEST_F(ScriptRunnerTest, FailingScriptsGiveNoneAndAreLogged)
{
    mFake->fail("marker-fail", "execution error: boom (-1728)");
    EXPECT_FALSE(Runner::stringFromScript(QStringLiteral("-- marker-fail untimed")));
    EXPECT_FALSE(Runner::descFromScript(QStringLiteral("-- marker-fail timed"), 30.0f));
    EXPECT_EQ(Runner::intFromScript(QStringLiteral("-- marker-fail int")), 0);
    EXPECT_FALSE(Runner::isLocked());
    const QString log = logText();
    EXPECT_TRUE(log.contains(QStringLiteral(
        "!!! descFromScript nil (0.0) [execution error: boom (-1728)] from script -- marker-fail untimed")));
    EXPECT_TRUE(log.contains(
        QStringLiteral("!!! descFromScript execution error: boom (-1728) from script -- marker-fail timed")));
    // A script no rule knows fails too (the fake's own message).
    EXPECT_FALSE(Runner::stringFromScript(QStringLiteral("-- unknown")));
}

TEST_F(ScriptRunnerTest, HangingScriptsAreAbandonedAndKilled)
{
    shortenWaits();
    mFake->hang("marker-hang");
    EXPECT_FALSE(Runner::descFromScript(QStringLiteral("-- marker-hang timed"), 0.2f));
    EXPECT_TRUE(logText().contains(QStringLiteral("!!! descFromScript nil (0.2) [timed out]")));
    // Without a time-out the hard cap still ends it.
    EXPECT_FALSE(Runner::stringFromScript(QStringLiteral("-- marker-hang untimed")));
    waitForWorkers();
    // The abandoned worker released the channel when its script was killed.
    EXPECT_FALSE(Runner::isLocked());
}

TEST_F(ScriptRunnerTest, LockTimesOutWithoutStartingTheScript)
{
    mFake->answer("marker-lock", "ran\n");
    ASSERT_TRUE(Runner::lock());
    EXPECT_TRUE(Runner::isLocked());
    Runner::setTimeoutSeconds(0.2f);
    EXPECT_FALSE(Runner::lock());
    const int starts = Runner::processStartCount();
    EXPECT_FALSE(Runner::stringFromScript(QStringLiteral("-- marker-lock")));
    EXPECT_FALSE(Runner::descFromScript(QStringLiteral("-- marker-lock"), 30.0f));
    EXPECT_EQ(Runner::processStartCount(), starts);
    EXPECT_TRUE(logText().contains(QStringLiteral("[iTunes lock not had] from script -- marker-lock")));
    Runner::unlock();
    EXPECT_EQ(Runner::stringFromScript(QStringLiteral("-- marker-lock")), QStringLiteral("ran"));
    // reset clears a lock that was left behind.
    ASSERT_TRUE(Runner::lock());
    Runner::reset();
    EXPECT_FALSE(Runner::isLocked());
}

TEST_F(ScriptRunnerTest, UnresponsiveiTunesIsNotAskedAgainUntilReset)
{
    shortenWaits();
    mFake->hang("return version as string");
    EXPECT_FALSE(Runner::isiTunesResponsive());
    // The first check still hangs: answered at once, nothing new started.
    const int starts = Runner::processStartCount();
    EXPECT_FALSE(Runner::isiTunesResponsive());
    EXPECT_EQ(Runner::processStartCount(), starts);
    waitForWorkers();

    mFake.reset(); // restores PATH before the next fake extends it
    mFake = std::make_unique<FakeOsascript>(QStringLiteral("responsive-again"));
    mFake->answer("return version as string", "12.1.3\n");
    Runner::setTimings(quickTimings());
    Runner::reset();
    EXPECT_TRUE(Runner::isiTunesResponsive());
    EXPECT_EQ(Runner::versionString(), QStringLiteral("12.1.3"));
    EXPECT_EQ(Runner::iTunesMajorVersion(), 12);
    EXPECT_EQ(mFake->lastScript(), QStringLiteral("tell app \"iTunes\"\rreturn version as string\rend tell"));
}

TEST_F(ScriptRunnerTest, WithoutOsascriptNothingStarts)
{
    mFake->removeFromPath();
    const int starts = Runner::processStartCount();
    EXPECT_FALSE(Runner::isiTunesInstalled());
    EXPECT_FALSE(Runner::descFromScript(QStringLiteral("x"), 0.0f));
    EXPECT_FALSE(Runner::descFromScript(QStringLiteral("x"), 5.0f));
    EXPECT_FALSE(Runner::stringFromScript(QStringLiteral("x")));
    EXPECT_EQ(Runner::intFromScript(QStringLiteral("x")), 0);
    EXPECT_FALSE(Runner::isiTunesResponsive());
    EXPECT_FALSE(Runner::versionString());
    EXPECT_EQ(Runner::iTunesMajorVersion(), 0);
    EXPECT_FALSE(Runner::isiTunesRunning());
    EXPECT_FALSE(Catalogue::runFilledScriptNamed(QStringLiteral("iTunes_Playlist_Info"), {}));
    EXPECT_FALSE(
        Catalogue::stringFromCompiledFunction(QStringLiteral("removeTrackWithPID"), {QStringLiteral("A")}));
    EXPECT_EQ(Runner::processStartCount(), starts);
    EXPECT_EQ(Runner::activeWorkerCount(), 0);
    EXPECT_FALSE(Runner::isLocked());
}

TEST(ScriptCatalogueTest, ShipsEveryNamedScriptCompressed)
{
    QFile resource(QStringLiteral(":/res_pack.db"));
    ASSERT_TRUE(resource.open(QIODevice::ReadOnly));
    const QByteArray packed = resource.readAll();
    ASSERT_TRUE(packed.startsWith("\x1f\x8b")) << "res_pack is not gzip";
    const QVariant tree = PropertyListReader::mutablePropertyListFromData(
        WMCompressionExtensions::decompressedData(packed), false);
    ASSERT_EQ(tree.typeId(), QMetaType::QVariantMap);

    // Name -> the conversions its arguments fill, in order.
    const QList<std::pair<const char*, const char*>> expected = {
        {"iTunes_play_currently_playing", ""},
        {"iTunes_Playlist_Info", ""},
        {"iTunes_PlaylistPID_Index", "@"},
        {"iTunes_Playlist_Contents", "d"},
        {"iTunes_Get_Artwork_Counts", "@"},
        {"iTunes_Get_Artwork_Count", "d@@"},
        {"iTunes_Remove_Artwork", "d@@"},
        {"iTunes_Embed_Artwork", "@@@"},
        {"iTunes_play_path", "@"},
        {"iTunes_play_playlist", "@@d@"},
        {"iTunes_play_title_artist", "@@d@"},
        {"iTunes_Track_Rename", "@@@@"},
        {"iTunes_Refresh_PID", "@"},
        {"iTunes_Refresh_ID_In_Playlist", "d@"},
        {"iTunes_Refresh_Title_Artist", "@@"},
        {"iTunes_Display_PlaylistPID", "@"},
        {"iTunes_Add_PID_To_Playlist_Named", "@@d"},
        {"iTunes_Merge_Played", "@@"},
        {"iTunes_Copy_Info", "@@"},
    };
    for (const auto& [name, signature] : expected) {
        const QString key = QString::fromLatin1(name);
        EXPECT_TRUE(tree.toMap().value(key).toString().contains(QLatin1String("tell application \"iTunes\"")))
            << name;
        const std::optional<QString> format = Catalogue::scriptNamed(key);
        ASSERT_TRUE(format) << name;
        EXPECT_EQ(conversions(*format), QString::fromLatin1(signature)) << name;
    }
    EXPECT_EQ(Catalogue::scriptNames().size(), expected.size());
    EXPECT_FALSE(Catalogue::scriptNamed(QStringLiteral("iTunes_No_Such_Script")));
    EXPECT_TRUE(logText().contains(QStringLiteral("!!! no scriptNamed 'iTunes_No_Such_Script'")));
}

TEST(ScriptCatalogueTest, HandlerLibraryDefinesEveryHandler)
{
    const QString library =
        QString::fromUtf8(TestSupport::readFile(QStringLiteral(":/Internal_Functions.applescript")));
    for (const char* handler : {"reunitePathWithPID", "addPathToiTunesPlaylist", "removeTrackWithPID",
                                "incrementalPlaylistDelete", "addTrackPIDToiTunesPlaylistPID"}) {
        const QString name = QString::fromLatin1(handler);
        EXPECT_TRUE(library.contains(QStringLiteral("\non ") + name + QLatin1Char('('))) << handler;
        EXPECT_TRUE(library.contains(QStringLiteral("\nend ") + name + QLatin1Char('\n'))) << handler;
    }
}

TEST(ScriptCatalogueTest, FillsArgumentsInOrder)
{
    const auto filled =
        Catalogue::filledScriptNamed(QStringLiteral("iTunes_Get_Artwork_Count"),
                                     {42, Catalogue::escaped(QStringLiteral("Say \"Hi\" 100%")),
                                      Catalogue::escaped(QStringLiteral("/a\\b.mp3"))});
    ASSERT_TRUE(filled);
    EXPECT_TRUE(filled->contains(QStringLiteral("set theDBID to 42\n")));
    EXPECT_TRUE(filled->contains(QStringLiteral("set theTitle to \"Say \\\"Hi\\\" 100%\"\n")));
    EXPECT_TRUE(filled->contains(QStringLiteral("set thePath to \"/a\\\\b.mp3\"\n")));
    EXPECT_FALSE(filled->contains(QStringLiteral("%@")));
}

TEST(ScriptCatalogueTest, BuildsTheHandlerCall)
{
    const QString source = Catalogue::compiledFunctionSource(
        QStringLiteral("reunitePathWithPID"), {QStringLiteral("/M/a \"b\".mp3"), QStringLiteral("00AB")},
        QStringLiteral("/cache/Internal_Functions.scpt"));
    EXPECT_EQ(source, QStringLiteral("on run\n"
                                     "set libPath to POSIX file \"/cache/Internal_Functions.scpt\"\n"
                                     "set SSlib to (load script file libPath)\n"
                                     "tell SSlib\n"
                                     "try\n"
                                     "return reunitePathWithPID(\"/M/a \\\"b\\\".mp3\", \"00AB\")\n"
                                     "on error err\n"
                                     "return \"error: \" & err\n"
                                     "end try\n"
                                     "end tell\n"
                                     "end run"));
}
