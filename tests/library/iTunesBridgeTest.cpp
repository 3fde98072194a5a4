#include "ScriptBridgeFixture.h"
#include "TestSupport.h"

#include "library/iTunesBridge.h"
#include "run/MainController.h"
#include "songs/SongFile.h"
#include "support/WMLog.h"

#include <QFileInfo>
#include <QVariantMap>

namespace {

using Runner = iTunesScriptRunner;

QVariantMap playlist(const char* name, const char* pid, const char* kind, const char* parent, bool smart)
{
    QVariantMap map{{QStringLiteral("Name"), QString::fromUtf8(name)},
                    {QStringLiteral("Playlist Persistent ID"), QString::fromUtf8(pid)},
                    {QStringLiteral("Distinguished Kind"), QString::fromUtf8(kind)},
                    {QStringLiteral("Parent Persistent ID"), QString::fromUtf8(parent)}};
    if (smart)
        map.insert(QStringLiteral("Smart Info"), QStringLiteral("true"));
    return map;
}

} // namespace

class BridgeTest : public ScriptBridgeFixture
{};

TEST_F(BridgeTest, PlaylistsInfoReadsEveryCompleteLine)
{
    mFake->answer("set isSmart to", "Library|@A1|@|@false|@\r"
                                    "Music|@B2|@Music|@false|@\r"
                                    "Daily Mix|@C3|@|@true|@B2\r"
                                    "Odd|@D4|@|@yes|@|@extra\r"
                                    "broken|@line\r"
                                    "\n");
    const std::optional<QVariantList> playlists = iTunesBridge::playlistsInfo();
    ASSERT_TRUE(playlists);
    ASSERT_EQ(playlists->size(), 4);
    EXPECT_EQ(playlists->at(0).toMap(), playlist("Library", "A1", "", "", false));
    EXPECT_EQ(playlists->at(1).toMap(), playlist("Music", "B2", "Music", "", false));
    EXPECT_EQ(playlists->at(2).toMap(), playlist("Daily Mix", "C3", "", "B2", true));
    EXPECT_EQ(playlists->at(3).toMap(), playlist("Odd", "D4", "", "", false));

    EXPECT_EQ(iTunesBridge::parsePlaylistsInfo(QString()), QVariantList());
}

TEST_F(BridgeTest, ArtworkCountsNeedOneLineBreakPerID)
{
    mFake->answer("{\"A1\", \"B2\", \"C\\\"3\"}", "1\r0\r3\r\n");
    mFake->answer("{\"X1\", \"X2\", \"X3\"}", "1\r0\r3\n");
    mFake->answer("{\"Y1\"}", "1\r2\r\n");
    const auto counts = iTunesBridge::artworkCountsForPIDs(
        {QStringLiteral("A1"), QStringLiteral("B2"), QStringLiteral("C\"3")});
    ASSERT_TRUE(counts);
    EXPECT_EQ(*counts, QList<int>({1, 0, 3}));
    EXPECT_TRUE(
        mFake->lastScript().contains(QStringLiteral("set thePIDs to {\"A1\", \"B2\", \"C\\\"3\"}\n")));

    // Three lines without the closing line break, and too many lines.
    EXPECT_FALSE(iTunesBridge::artworkCountsForPIDs(
        {QStringLiteral("X1"), QStringLiteral("X2"), QStringLiteral("X3")}));
    EXPECT_FALSE(iTunesBridge::artworkCountsForPIDs({QStringLiteral("Y1")}));

    const int starts = Runner::processStartCount();
    EXPECT_EQ(iTunesBridge::artworkCountsForPIDs({}), QList<int>());
    EXPECT_EQ(Runner::processStartCount(), starts);
}

TEST_F(BridgeTest, PlaylistContentsAndIndexes)
{
    mFake->answer("set theIndex to 7", "/Music/a.mp3|@101|@1\r|@102|@0\rjunk\r\n");
    mFake->answer("set thePID to \"FEED\"", "5\n");
    const auto tracks = iTunesBridge::identifiersForPlaylistIndex(7);
    ASSERT_TRUE(tracks);
    ASSERT_EQ(tracks->size(), 2);
    EXPECT_EQ(tracks->at(0).toMap(),
              QVariantMap({{QStringLiteral("Location"), QStringLiteral("/Music/a.mp3")},
                           {QStringLiteral("DBID"), 101},
                           {QStringLiteral("Artwork Count"), 1}}));
    EXPECT_EQ(tracks->at(1).toMap().value(QStringLiteral("Location")), QString());
    EXPECT_EQ(tracks->at(1).toMap().value(QStringLiteral("DBID")), 102);
    EXPECT_EQ(iTunesBridge::indexOfPlaylistPID(QStringLiteral("FEED")), 5);
    // No rule answers index 8: the failure gives none.
    EXPECT_FALSE(iTunesBridge::identifiersForPlaylistIndex(8));
}

TEST_F(BridgeTest, InlineScriptsAreSentAsWritten)
{
    mFake->answer("count of tracks in playlist 3", "42\n");
    mFake->answer("return index of playlist", "-1\n");
    mFake->answer("return album artist of track 2", "Various\n");
    EXPECT_EQ(iTunesBridge::numberOfTracksInPlaylistIndex(3), 42);
    EXPECT_EQ(mFake->lastScript(),
              QStringLiteral("tell app \"iTunes\"\rreturn count of tracks in playlist 3\rend tell"));
    EXPECT_EQ(iTunesBridge::indexOfPlaylist(QStringLiteral("Mix \"1\"")), -1);
    EXPECT_EQ(mFake->lastScript(),
              QStringLiteral("tell app \"iTunes\"\ntry\nreturn index of playlist \"Mix \\\"1\\\"\"\n"
                             "on error\nreturn -1\nend try\nend tell"));
    EXPECT_EQ(iTunesBridge::valueOfField(QStringLiteral("album artist"), 2, QStringLiteral("Library")),
              QStringLiteral("Various"));
    EXPECT_EQ(mFake->lastScript(),
              QStringLiteral(
                  "tell app \"iTunes\"\rreturn album artist of track 2 of playlist \"Library\"\rend tell"));

    // A field name that is no plain property never reaches a script.
    const int starts = Runner::processStartCount();
    EXPECT_FALSE(
        iTunesBridge::valueOfField(QStringLiteral("name\rdo shell script \"x\""), 1, QStringLiteral("L")));
    EXPECT_FALSE(iTunesBridge::valueOfField(QString(), QStringLiteral("Song")));
    EXPECT_EQ(iTunesBridge::intValueOfField(QStringLiteral("year\""), 1, QStringLiteral("L")), 0);
    EXPECT_EQ(Runner::processStartCount(), starts);
}

TEST_F(BridgeTest, HandlerErrorsComeBackAsText)
{
    mFake->installCompiler();
    mFake->answer("return removeTrackWithPID(\"00AB\")", "error: Can't get track 1. (-1728)\n");
    mFake->answer("return addPathToiTunesPlaylist(\"/M/a.mp3\", \"\")", "C0FFEE\n");
    EXPECT_EQ(iTunesBridge::removeSongWithPID(QStringLiteral("00AB")),
              QStringLiteral("error: Can't get track 1. (-1728)"));
    const QString library = iTunesScriptCatalogue::libraryScriptPath();
    EXPECT_TRUE(QFileInfo::exists(library));
    EXPECT_TRUE(library.endsWith(QStringLiteral("/Internal_Functions.scpt")));
    EXPECT_TRUE(mFake->lastScript().contains(QStringLiteral("set libPath to POSIX file \"") + library));
    EXPECT_TRUE(TestSupport::readFile(library).contains("on incrementalPlaylistDelete(thePrefix)"));
    EXPECT_EQ(iTunesBridge::addToiTunesSongAtPath(QStringLiteral("/M/a.mp3"), QString()),
              QStringLiteral("C0FFEE"));
}

TEST_F(BridgeTest, HandlersNeedACompiledLibrary)
{
    // No compiler: the handler calls answer none without starting anything.
    int starts = Runner::processStartCount();
    EXPECT_FALSE(iTunesBridge::reunitePath(QStringLiteral("/M/a.mp3"), QStringLiteral("00AB")));
    EXPECT_EQ(Runner::processStartCount(), starts);

    // A compiler that fails is tried once.
    mFake->installCompiler(false);
    EXPECT_FALSE(iTunesBridge::removePlaylistsWithNamesStartingWith(QStringLiteral("tmp-")));
    EXPECT_EQ(Runner::processStartCount(), starts + 1);
    EXPECT_FALSE(iTunesBridge::addTrackWithPID(QStringLiteral("00AB"), QStringLiteral("00CD")));
    EXPECT_EQ(Runner::processStartCount(), starts + 1);
}

TEST_F(BridgeTest, WithoutOsascriptEveryOperationAnswersNothing)
{
    mFake->installCompiler();
    mFake->removeFromPath();
    const int starts = Runner::processStartCount();
    const QString s = QStringLiteral("x");
    iTunesBridge::pausePlaying();
    iTunesBridge::resumePlaying();
    EXPECT_FALSE(iTunesBridge::pathOfCurrentlyPlayingTrack());
    EXPECT_FALSE(iTunesBridge::playlistsInfo());
    EXPECT_EQ(iTunesBridge::indexOfPlaylistPID(s), 0);
    EXPECT_FALSE(iTunesBridge::identifiersForPlaylistIndex(1));
    EXPECT_FALSE(iTunesBridge::artworkCountsForPIDs({s}));
    EXPECT_FALSE(iTunesBridge::artworkCountsForPIDs({}));
    EXPECT_EQ(iTunesBridge::artworkCountForDBID(1, s, s), 0);
    EXPECT_FALSE(iTunesBridge::removeAllArtworkFromSongWithDBID(1, s, s));
    EXPECT_FALSE(iTunesBridge::embedArtworkForTitle(s, s));
    EXPECT_FALSE(iTunesBridge::playTrackAtPath(s));
    EXPECT_FALSE(iTunesBridge::playTrackNamed(s, s, 1, s));
    EXPECT_FALSE(iTunesBridge::changeValueInTrackWithPID(s, s, s));
    EXPECT_FALSE(iTunesBridge::reunitePath(s, s));
    EXPECT_FALSE(iTunesBridge::addToiTunesSongAtPath(s, s));
    EXPECT_FALSE(iTunesBridge::removeSongWithPID(s));
    EXPECT_FALSE(iTunesBridge::removePlaylistsWithNamesStartingWith(s));
    EXPECT_FALSE(iTunesBridge::addTrackWithPID(s, s));
    EXPECT_FALSE(iTunesBridge::valueOfField(QStringLiteral("name"), 1, s));
    EXPECT_EQ(iTunesBridge::intValueOfField(QStringLiteral("year"), 1, s), 0);
    EXPECT_FALSE(iTunesBridge::valueOfField(QStringLiteral("name"), s));
    EXPECT_FALSE(iTunesBridge::displayPlaylist(s));
    EXPECT_EQ(iTunesBridge::indexOfPlaylist(s), 0);
    EXPECT_EQ(iTunesBridge::numberOfTracksInPlaylistIndex(1), 0);
    EXPECT_FALSE(iTunesBridge::refreshAndGetPathOfSongWithPID(s));
    EXPECT_FALSE(iTunesBridge::refreshAndGetPathOfSongWithID(1, s));
    EXPECT_FALSE(iTunesBridge::refreshAndGetPathOfSongWithTitle(s, s));
    EXPECT_FALSE(iTunesBridge::displayPlaylistPID(s));
    EXPECT_FALSE(iTunesBridge::addTrackWithPID(s, s, true));
    EXPECT_FALSE(iTunesBridge::mergePlayedFromTrackWithPID(s, s));
    EXPECT_FALSE(iTunesBridge::doCopyInfoFromTrackPID(s, s));
    EXPECT_EQ(Runner::processStartCount(), starts);
    EXPECT_EQ(Runner::activeWorkerCount(), 0);
}
