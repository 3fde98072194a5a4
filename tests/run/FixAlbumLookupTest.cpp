// quillbeat-cli fix, run as a program, against a local stand-in of the open
// music database: the songs of an album share its one release search and
// one release lookup wherever they stand in the table, albums of one name by
// different artists keep their own, and what a song was given in a run is
// lent to the songs of its album after it.
#include "LoadTestFiles.h"
#include "TestHttpServer.h"
#include "TestSupport.h"
#include "tags/AudioInfoTag.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QUrlQuery>

#include <gtest/gtest.h>

namespace {

struct Album
{
    QString artist;
    QString name;
    QString year;
    QStringList tracks;
};

QString releaseID(qsizetype index)
{
    return QStringLiteral("00000000-0000-4000-8000-%1").arg(index, 12, 10, QLatin1Char('0'));
}

QJsonArray credit(const QString& artist)
{
    return QJsonArray{QJsonObject{{QStringLiteral("name"), artist}}};
}

// A release as searches list it, or as a lookup gives it, with its tracks.
QJsonObject release(qsizetype index, const Album& album, bool lookup)
{
    QJsonObject release{{QStringLiteral("id"), releaseID(index)},
                        {QStringLiteral("title"), album.name},
                        {QStringLiteral("status"), QStringLiteral("Official")},
                        {QStringLiteral("date"), album.year},
                        {QStringLiteral("artist-credit"), credit(album.artist)}};
    QJsonArray tracks;
    for (qsizetype i = 0; lookup && i < album.tracks.size(); ++i)
        tracks.append(
            QJsonObject{{QStringLiteral("position"), i + 1}, {QStringLiteral("title"), album.tracks.at(i)}});
    if (lookup)
        release.insert(QStringLiteral("media"), QJsonArray{QJsonObject{{QStringLiteral("tracks"), tracks}}});
    return release;
}

class FixAlbumLookupTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mServer.setHandler([this](const TestHttpServer::Request& request) { return answer(request); });
        const QString resources =
            QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>"
                           "<key>sourcelist</key><array><string>MusicBrainzInterface</string></array>"
                           "<key>res_MusicBrainzInterface</key><dict>"
                           "<key>releaseSearchURL</key><string>%1/ws/2/release</string>"
                           "<key>recordingSearchURL</key><string>%1/ws/2/recording</string>"
                           "<key>releaseLookupURL</key><string>%1/ws/2/release/%@?fmt=json</string>"
                           "<key>minIntervalSeconds</key><integer>0</integer></dict></dict></plist>\n")
                .arg(mServer.url(QString()).toString());
        mResources = TestSupport::scratchFolder() + QStringLiteral("/fix-album-lookup.resources.plist");
        ASSERT_TRUE(TestSupport::writeFile(mResources, resources.toUtf8()));
    }

    // Answers from mAlbums (names and artists compared but for case) and
    // counts each album's searches and lookups.
    TestHttpServer::Response answer(const TestHttpServer::Request& request)
    {
        const QRegularExpressionMatch terms =
            QRegularExpression(
                QStringLiteral("(release|recording):\"([^\"]*)\"(?: AND artist:\"([^\"]*)\")?"))
                .match(QUrlQuery(QUrl(request.pathAndQuery))
                           .queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded));
        const auto same = [](const QString& a, const QString& b) {
            return !a.compare(b, Qt::CaseInsensitive);
        };
        QJsonArray found;
        for (qsizetype i = 0; i < mAlbums.size(); ++i) {
            const Album& album = mAlbums.at(i);
            if (request.path == QStringLiteral("/ws/2/release/") + releaseID(i)) {
                ++mLookups[i];
                return json(release(i, album, true));
            }
            if (!terms.hasMatch() || !same(album.artist, terms.captured(3)))
                continue;
            if (terms.captured(1) == QStringLiteral("release") && same(album.name, terms.captured(2))) {
                ++mSearches[i];
                found.append(release(i, album, false));
            } else if (terms.captured(1) == QStringLiteral("recording") &&
                       album.tracks.contains(terms.captured(2))) {
                found.append(QJsonObject{{QStringLiteral("title"), terms.captured(2)},
                                         {QStringLiteral("artist-credit"), credit(album.artist)},
                                         {QStringLiteral("releases"), QJsonArray{release(i, album, false)}}});
            }
        }
        return json({{terms.captured(1) + QLatin1Char('s'), found}});
    }

    static TestHttpServer::Response json(const QJsonObject& object)
    {
        return TestHttpServer::Response::text(QJsonDocument(object).toJson(QJsonDocument::Compact),
                                              "application/json");
    }

    void useAlbums(const QList<Album>& albums, const QString& folder)
    {
        mAlbums = albums;
        mSearches = mLookups = QList<int>(albums.size(), 0);
        mFolder = LoadTestFiles::freshFolder(QStringLiteral("fix-album-lookup-") + folder);
    }

    // An MP3 in the test's folder, with a year and as part of a compilation when asked.
    QString song(const QString& name, const QString& title, const QString& artist, const QString& album,
                 const QString& year = {}, bool compilation = false)
    {
        const QString path = mFolder + QLatin1Char('/') + name + QStringLiteral(".mp3");
        EXPECT_TRUE(LoadTestFiles::writeSong(path, title, artist, album));
        auto tag = AudioInfoTag::tagWithPath(path);
        tag->setYear(year);
        tag->setIsPartOfCompilation(compilation);
        QString error;
        EXPECT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
        return path;
    }

    // Runs fix over the folder to its end; answers its exit status.
    int fix(const QString& checks, QString* out)
    {
        QProcess cli;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("QUILLBEAT_RESOURCES"), mResources);
        cli.setProcessEnvironment(env);
        cli.start(QStringLiteral(QB_CLI_PATH), {QStringLiteral("fix"), QStringLiteral("--folder"), mFolder,
                                                QStringLiteral("--check"), checks});
        // The server answers from this thread's event loop while fix runs.
        EXPECT_TRUE(TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, 60000));
        *out = QString::fromUtf8(cli.readAllStandardOutput());
        return cli.exitCode();
    }

    TestHttpServer mServer;
    QString mResources;
    QString mFolder;
    QList<Album> mAlbums;
    QList<int> mSearches;
    QList<int> mLookups;
};

} // namespace

// Each song still takes its own track number from the shared album.
TEST_F(FixAlbumLookupTest, TheSongsOfAnAlbumShareOneSearchAndOneLookup)
{
    const QString lights = QStringLiteral("Harbour Lights");
    const Album lowTide{
        lights, QStringLiteral("Low Tide"), QStringLiteral("1994"),
        QStringLiteral("Light,Undertow,Return,Salt,Kelp,Breakwater,Shoals,Ferry").split(u',')};
    const Album paperBoats{lights, QStringLiteral("Paper Boats"), QStringLiteral("1997"),
                           QStringLiteral("Fold,Drift,Moor,Sink").split(u',')};
    const Album otherLowTide{QStringLiteral("Glass Atlas"), QStringLiteral("Low Tide"),
                             QStringLiteral("2001"), QStringLiteral("Neap,Spring,Ebb,Flow").split(u',')};
    const struct
    {
        const char* name;
        QList<Album> albums;
        QList<int> albumOfSong; // in table order; each album's songs in track order
    } rows[] = {
        {"eight songs of one album", {lowTide}, {0, 0, 0, 0, 0, 0, 0, 0}},
        {"two albums whose songs alternate in the table", {lowTide, paperBoats}, {0, 1, 0, 1, 0, 1, 0, 1}},
        {"one album name by two artists", {lowTide, otherLowTide}, {0, 1, 1, 0, 0, 1, 1, 0}},
    };
    for (const auto& row : rows) {
        useAlbums(row.albums, QLatin1String(row.name));
        QStringList paths, tracks;
        QList<int> count(mAlbums.size(), 0);
        for (int album : row.albumOfSong) {
            const Album& a = mAlbums.at(album);
            const int track = ++count[album];
            paths.append(song(QString::number(paths.size() + 1), a.tracks.at(track - 1), a.artist, a.name));
            tracks.append(QStringLiteral("%1/%2").arg(track).arg(a.tracks.size()));
        }
        QString out;
        ASSERT_EQ(fix(QStringLiteral("year,track"), &out), 0) << row.name << "\n" << out.toStdString();
        EXPECT_EQ(mSearches, QList<int>(mAlbums.size(), 1)) << row.name << ": searches\n"
                                                            << out.toStdString();
        EXPECT_EQ(mLookups, QList<int>(mAlbums.size(), 1)) << row.name << ": lookups\n" << out.toStdString();
        for (qsizetype i = 0; i < paths.size(); ++i) {
            const auto tag = AudioInfoTag::tagWithPath(paths.at(i));
            ASSERT_TRUE(tag) << row.name;
            EXPECT_EQ(tag->year(), mAlbums.at(row.albumOfSong.at(i)).year) << row.name << ": song " << i + 1;
            EXPECT_EQ(tag->track(), tracks.at(i)) << row.name << ": song " << i + 1;
        }
    }
}

// A song lends to the songs of its album after it in the table, also what
// the run gave it; compilation songs lend across their artists.
TEST_F(FixAlbumLookupTest, SongsLendToTheSongsOfTheirAlbumAfterThem)
{
    const QString lights = QStringLiteral("Harbour Lights");
    const QString mix = QStringLiteral("Night Mix");
    const struct
    {
        const char* name;
        const char* checks;
        std::function<void()> makeSongs;
        QString year; // what the last song is given by song 1
    } rows[] = {
        {"the album found for the song before", "album,year",
         [&] {
             // Song 0 asks for its siblings before song 1 is given its album.
             song(QStringLiteral("0"), QStringLiteral("Fold"), lights, QStringLiteral("Paper Boats"));
             song(QStringLiteral("1"), QStringLiteral("Light"), lights, {});
             song(QStringLiteral("2"), QStringLiteral("Undertow"), lights, QStringLiteral("Low Tide"));
         },
         QStringLiteral("1994")},
        {"a compilation, not another album of its name", "year",
         [&] {
             song(QStringLiteral("0"), QStringLiteral("Elsewhere"), QStringLiteral("Someone Else"), mix,
                  QStringLiteral("1980"));
             song(QStringLiteral("1"), QStringLiteral("Afterglow"), lights, mix, QStringLiteral("1999"),
                  true);
             song(QStringLiteral("2"), QStringLiteral("Neon"), QStringLiteral("Glass Atlas"), mix, {}, true);
         },
         QStringLiteral("1999")},
    };
    for (const auto& row : rows) {
        useAlbums({{lights, QStringLiteral("Low Tide"), QStringLiteral("1994"), {QStringLiteral("Light")}}},
                  QLatin1String(row.name));
        row.makeSongs();
        QString out;
        ASSERT_EQ(fix(QLatin1String(row.checks), &out), 0) << row.name << "\n" << out.toStdString();
        EXPECT_TRUE(
            out.contains(QStringLiteral("    year: \"\" → \"%1\"  (from sibling 1.mp3)").arg(row.year)))
            << row.name << "\n"
            << out.toStdString();
    }
}
