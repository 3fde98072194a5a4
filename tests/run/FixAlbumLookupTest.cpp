// quillbeat-cli fix, run as a program, against a local stand-in of the open
// music database: the songs of an album share its one release search and
// one release lookup wherever they stand in the table, albums of one name by
// different artists keep their own, and values written earlier in a run are
// lent to the songs after them.
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

QJsonObject releaseSummary(qsizetype index, const Album& album)
{
    return {
        {QStringLiteral("id"), releaseID(index)},
        {QStringLiteral("title"), album.name},
        {QStringLiteral("status"), QStringLiteral("Official")},
        {QStringLiteral("release-group"),
         QJsonObject{{QStringLiteral("id"), releaseID(index + 500)},
                     {QStringLiteral("primary-type"), QStringLiteral("Album")}}},
        {QStringLiteral("artist-credit"), QJsonArray{QJsonObject{{QStringLiteral("name"), album.artist}}}}};
}

QByteArray releaseLookup(qsizetype index, const Album& album)
{
    QJsonObject release = releaseSummary(index, album);
    release.insert(QStringLiteral("date"), album.year);
    QJsonArray tracks;
    for (qsizetype i = 0; i < album.tracks.size(); ++i)
        tracks.append(
            QJsonObject{{QStringLiteral("position"), i + 1}, {QStringLiteral("title"), album.tracks.at(i)}});
    release.insert(QStringLiteral("media"), QJsonArray{QJsonObject{{QStringLiteral("position"), 1},
                                                                   {QStringLiteral("tracks"), tracks}}});
    return QJsonDocument(release).toJson(QJsonDocument::Compact);
}

class FixAlbumLookupTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(mServer.start());
        mServer.setHandler([this](const TestHttpServer::Request& request) { return answer(request); });
        const QString root = mServer.url(QString()).toString();
        const QString resources =
            QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
                           "<key>sourcelist</key><array><string>MusicBrainzInterface</string></array>\n"
                           "<key>res_MusicBrainzInterface</key><dict>"
                           "<key>releaseSearchURL</key><string>%1/ws/2/release</string>"
                           "<key>recordingSearchURL</key><string>%1/ws/2/recording</string>"
                           "<key>releaseLookupURL</key><string>%1/ws/2/release/%@?fmt=json</string>"
                           "<key>minIntervalSeconds</key><integer>0</integer></dict>\n"
                           "</dict>\n</plist>\n")
                .arg(root);
        mResources = TestSupport::scratchFolder() + QStringLiteral("/fix-album-lookup.resources.plist");
        ASSERT_TRUE(TestSupport::writeFile(mResources, resources.toUtf8()));
    }

    // The database knows the albums of mAlbums; searches match names and
    // artists exactly (but for case).
    TestHttpServer::Response answer(const TestHttpServer::Request& request)
    {
        const QString query =
            QUrlQuery(QUrl(request.pathAndQuery)).queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded);
        const auto equal = [](const QString& a, const QString& b) {
            return a.compare(b, Qt::CaseInsensitive) == 0;
        };
        QJsonArray found;
        if (request.path == QStringLiteral("/ws/2/release")) {
            const QRegularExpressionMatch terms =
                QRegularExpression(QStringLiteral("release:\"([^\"]*)\"(?: AND artist:\"([^\"]*)\")?"))
                    .match(query);
            for (qsizetype i = 0; i < mAlbums.size(); ++i) {
                if (equal(mAlbums.at(i).name, terms.captured(1)) &&
                    equal(mAlbums.at(i).artist, terms.captured(2)))
                    found.append(releaseSummary(i, mAlbums.at(i)));
            }
            return json(QJsonObject{{QStringLiteral("releases"), found}});
        }
        if (request.path == QStringLiteral("/ws/2/recording")) {
            const QRegularExpressionMatch terms =
                QRegularExpression(QStringLiteral("recording:\"([^\"]*)\" AND artist:\"([^\"]*)\""))
                    .match(query);
            for (qsizetype i = 0; i < mAlbums.size(); ++i) {
                const Album& album = mAlbums.at(i);
                if (album.tracks.contains(terms.captured(1)) && equal(album.artist, terms.captured(2)))
                    found.append(
                        QJsonObject{{QStringLiteral("title"), terms.captured(1)},
                                    {QStringLiteral("artist-credit"),
                                     QJsonArray{QJsonObject{{QStringLiteral("name"), album.artist}}}},
                                    {QStringLiteral("releases"), QJsonArray{releaseSummary(i, album)}}});
            }
            return json(QJsonObject{{QStringLiteral("recordings"), found}});
        }
        for (qsizetype i = 0; i < mAlbums.size(); ++i) {
            if (request.path == QStringLiteral("/ws/2/release/") + releaseID(i))
                return TestHttpServer::Response::text(releaseLookup(i, mAlbums.at(i)), "application/json");
        }
        return TestHttpServer::Response::text("{}", "application/json", 404);
    }

    static TestHttpServer::Response json(const QJsonObject& object)
    {
        return TestHttpServer::Response::text(QJsonDocument(object).toJson(QJsonDocument::Compact),
                                              "application/json");
    }

    // Searches and lookups the server answered for each album.
    QList<int> requestsPerAlbum(bool lookups) const
    {
        QList<int> counts(mAlbums.size(), 0);
        for (const TestHttpServer::Request& request : mServer.requests()) {
            const QString query = QUrlQuery(QUrl(request.pathAndQuery))
                                      .queryItemValue(QStringLiteral("query"), QUrl::FullyDecoded);
            for (qsizetype i = 0; i < mAlbums.size(); ++i) {
                const Album& album = mAlbums.at(i);
                const bool counted =
                    lookups ? request.path == QStringLiteral("/ws/2/release/") + releaseID(i)
                            : request.path == QStringLiteral("/ws/2/release") &&
                                  query.contains(QLatin1Char('"') + album.name + QLatin1Char('"')) &&
                                  query.contains(QLatin1Char('"') + album.artist + QLatin1Char('"'));
                counts[i] += counted ? 1 : 0;
            }
        }
        return counts;
    }

    // An MP3 in the test's folder, with a year and as a compilation when asked.
    QString song(const QString& name, const QString& title, const QString& artist, const QString& album,
                 const QString& year = {}, bool compilation = false)
    {
        const QString path = mFolder + QLatin1Char('/') + name + QStringLiteral(".mp3");
        EXPECT_TRUE(LoadTestFiles::writeSong(path, title, artist, album));
        if (!year.isEmpty() || compilation) {
            auto tag = AudioInfoTag::tagWithPath(path);
            tag->setYear(year);
            tag->setIsPartOfCompilation(compilation);
            QString error;
            EXPECT_TRUE(tag->modifySongFileAtPath(path, &error)) << error.toStdString();
        }
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
        EXPECT_TRUE(cli.waitForStarted());
        // The server answers from this thread's event loop while fix runs.
        EXPECT_TRUE(TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, 60000));
        *out = QString::fromUtf8(cli.readAllStandardOutput());
        return cli.exitCode();
    }

    TestHttpServer mServer;
    QString mResources;
    QString mFolder;
    QList<Album> mAlbums;
};

} // namespace

// Each song still takes its own track number from the shared album.
TEST_F(FixAlbumLookupTest, TheSongsOfAnAlbumShareOneSearchAndOneLookup)
{
    const Album lowTide{QStringLiteral("Harbour Lights"),
                        QStringLiteral("Low Tide"),
                        QStringLiteral("1994"),
                        {QStringLiteral("First Light"), QStringLiteral("Undertow"),
                         QStringLiteral("Slow Return"), QStringLiteral("Salt Lines"),
                         QStringLiteral("Kelp Forest"), QStringLiteral("Breakwater"),
                         QStringLiteral("Shoals"), QStringLiteral("Last Ferry")}};
    const Album paperBoats{
        QStringLiteral("Harbour Lights"),
        QStringLiteral("Paper Boats"),
        QStringLiteral("1997"),
        {QStringLiteral("Fold"), QStringLiteral("Drift"), QStringLiteral("Moor"), QStringLiteral("Sink")}};
    const Album otherLowTide{
        QStringLiteral("Glass Atlas"),
        QStringLiteral("Low Tide"),
        QStringLiteral("2001"),
        {QStringLiteral("Neap"), QStringLiteral("Spring"), QStringLiteral("Ebb"), QStringLiteral("Flow")}};
    struct Row
    {
        const char* name;
        QList<Album> albums;
        QList<int> albumOfSong; // in table order; track numbers count up per album
    };
    const Row rows[] = {
        {"eight songs of one album", {lowTide}, {0, 0, 0, 0, 0, 0, 0, 0}},
        {"two albums whose songs alternate in the table", {lowTide, paperBoats}, {0, 1, 0, 1, 0, 1, 0, 1}},
        {"one album name by two artists", {lowTide, otherLowTide}, {0, 1, 1, 0, 0, 1, 1, 0}},
    };
    for (const Row& row : rows) {
        mAlbums = row.albums;
        mServer.clearRequests();
        mFolder = LoadTestFiles::freshFolder(QStringLiteral("fix-album-lookup-") + QLatin1String(row.name));
        QStringList paths;
        QList<int> nextTrack(mAlbums.size(), 0);
        QStringList expectedTracks;
        for (qsizetype i = 0; i < row.albumOfSong.size(); ++i) {
            const Album& album = mAlbums.at(row.albumOfSong.at(i));
            const int track = ++nextTrack[row.albumOfSong.at(i)];
            paths.append(song(QString::number(i + 1), album.tracks.at(track - 1), album.artist, album.name));
            expectedTracks.append(QStringLiteral("%1/%2").arg(track).arg(album.tracks.size()));
        }

        QString out;
        ASSERT_EQ(fix(QStringLiteral("year,track"), &out), 0) << row.name << "\n" << out.toStdString();
        const QList<int> once(mAlbums.size(), 1);
        EXPECT_EQ(requestsPerAlbum(false), once) << row.name << ": searches\n" << out.toStdString();
        EXPECT_EQ(requestsPerAlbum(true), once) << row.name << ": lookups\n" << out.toStdString();
        for (qsizetype i = 0; i < paths.size(); ++i) {
            const auto tag = AudioInfoTag::tagWithPath(paths.at(i));
            ASSERT_TRUE(tag) << row.name;
            EXPECT_EQ(tag->year(), mAlbums.at(row.albumOfSong.at(i)).year) << row.name << ": song " << i + 1;
            EXPECT_EQ(tag->track(), expectedTracks.at(i)) << row.name << ": song " << i + 1;
        }
    }
}

// A song lends what it has to the songs of its album after it in the table,
// also what the run gave it, and compilations lend across their artists.
TEST_F(FixAlbumLookupTest, SongsLendToTheSongsOfTheirAlbumAfterThem)
{
    mAlbums = {{QStringLiteral("Harbour Lights"),
                QStringLiteral("Low Tide"),
                QStringLiteral("1994"),
                {QStringLiteral("First Light"), QStringLiteral("Undertow")}}};
    const QString lights = QStringLiteral("Harbour Lights");
    const QString atlas = QStringLiteral("Glass Atlas");
    const QString mix = QStringLiteral("Night Mix");
    struct Row
    {
        const char* name;
        QString checks;
        std::function<void()> makeSongs;
        QString expected; // a line of fix's output
    };
    const Row rows[] = {
        {"the album found for the song before", QStringLiteral("album,year"),
         [&] {
             // The first song asks for its siblings before the second is given its album.
             song(QStringLiteral("0"), QStringLiteral("Fold"), lights, QStringLiteral("Paper Boats"));
             song(QStringLiteral("1"), QStringLiteral("First Light"), lights, {});
             song(QStringLiteral("2"), QStringLiteral("Undertow"), lights, QStringLiteral("Low Tide"));
         },
         QStringLiteral("    year: \"\" → \"1994\"  (from sibling 1.mp3)")},
        {"a compilation by several artists, not another album of its name", QStringLiteral("year"),
         [&] {
             song(QStringLiteral("0"), QStringLiteral("Elsewhere"), QStringLiteral("Someone Else"), mix,
                  QStringLiteral("1980"));
             song(QStringLiteral("1"), QStringLiteral("Afterglow"), lights, mix, QStringLiteral("1999"),
                  true);
             song(QStringLiteral("2"), QStringLiteral("Neon"), atlas, mix, {}, true);
         },
         QStringLiteral("    year: \"\" → \"1999\"  (from sibling 1.mp3)")},
    };
    for (const Row& row : rows) {
        mFolder = LoadTestFiles::freshFolder(QStringLiteral("fix-siblings-") + QLatin1String(row.name));
        row.makeSongs();
        QString out;
        ASSERT_EQ(fix(row.checks, &out), 0) << row.name << "\n" << out.toStdString();
        EXPECT_TRUE(out.contains(row.expected)) << row.name << "\n" << out.toStdString();
    }
}
