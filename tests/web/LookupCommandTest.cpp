// `quillbeat-cli lookup` run as its own process against the local server:
// the sources' addresses come from a resource file named by
// QUILLBEAT_RESOURCES, as a user would redirect them.
#include "AlbumSourceTestKit.h"
#include "TestHttpServer.h"
#include "TestSupport.h"

#include "support/LocalizedStrings.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSettings>

#include <gtest/gtest.h>

namespace {

using Response = TestHttpServer::Response;

const QString ReleaseID = QStringLiteral("bbbbbbbb-1111-2222-3333-444444444444");

const QByteArray kSearch = R"({"count": 1, "releases": [{"id": "bbbbbbbb-1111-2222-3333-444444444444",
  "title": "Paper Lanterns", "status": "Official", "artist-credit": [{"name": "Quiet Engines"}],
  "release-group": {"id": "g1", "primary-type": "Album"}}]})";

const QByteArray kRelease = R"({"id": "bbbbbbbb-1111-2222-3333-444444444444", "title": "Paper Lanterns",
  "date": "2003-04-05", "artist-credit": [{"name": "Quiet Engines"}],
  "genres": [{"name": "ambient", "count": 2}], "cover-art-archive": {"front": true},
  "media": [{"position": 1, "tracks": [
    {"position": 1, "title": "First Light", "recording": {"title": "First Light"}},
    {"position": 2, "title": "Slow Tide", "recording": {"title": "Slow Tide"}}]}]})";

QByteArray lrclibSearch()
{
    QByteArray lyrics;
    for (int i = 1; i <= 8; ++i)
        lyrics += "The tide comes slowly over line " + QByteArray::number(i) + "\\n";
    return R"([{"id": 7, "trackName": "Slow Tide", "artistName": "Quiet Engines",
  "albumName": "Paper Lanterns",  "duration": 200, "instrumental": false, "plainLyrics": ")" +
           lyrics + "\"}]";
}

// A resource file sending the keyless album and lyrics sources to `root`.
QString writeResources(const QString& root, const QString& name)
{
    QString resources = QStringLiteral(R"(<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>res_MusicBrainzInterface</key><dict><key>releaseSearchURL</key><string>@/ws/2/release</string>
<key>recordingSearchURL</key><string>@/ws/2/recording</string>
<key>releaseLookupURL</key><string>@/ws/2/release/%@?fmt=json</string>
<key>coverArtURL</key><string>@/cover/%@/front-%@</string>
<key>minIntervalSeconds</key><integer>0</integer></dict>
<key>res_LrclibInterface</key><dict><key>getURL</key><string>@/api/get</string>
<key>searchURL</key><string>@/api/search</string><key>minIntervalSeconds</key><integer>0</integer></dict>
</dict></plist>
)");
    resources.replace(QStringLiteral("<string>@"), QStringLiteral("<string>") + root);
    const QString path = TestSupport::scratchFolder() + QLatin1Char('/') + name + QStringLiteral(".plist");
    return TestSupport::writeFile(path, resources.toUtf8()) ? path : QString();
}

struct Lookup
{
    bool ended = false;
    int exitCode = -1;
    QByteArray out, err;
};

// Runs `quillbeat-cli lookup <arguments>` with the resource file, in `home`
// when one is given, and waits at most `timeoutMs` for it (a bound on our own
// wait, so that a lookup that hangs fails the test).
Lookup runLookup(const QString& resourcePath, const QStringList& arguments, int timeoutMs,
                 const QString& home = QString())
{
    QProcess cli;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (!home.isEmpty()) {
        env.insert(QStringLiteral("HOME"), home);
        for (const char* xdg : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
            env.remove(QLatin1String(xdg));
    }
    env.insert(QStringLiteral("QUILLBEAT_RESOURCES"), resourcePath);
    cli.setProcessEnvironment(env);
    cli.start(QStringLiteral(QB_CLI_PATH), QStringList{QStringLiteral("lookup")} + arguments);
    // The server answers from this thread's event loop while the program runs.
    Lookup result;
    result.ended = TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, timeoutMs);
    if (!result.ended) {
        cli.kill();
        cli.waitForFinished();
        return result;
    }
    result.exitCode = cli.exitCode();
    result.out = cli.readAllStandardOutput();
    result.err = cli.readAllStandardError();
    return result;
}

} // namespace

TEST(LookupCommandTest, ShowsTheAlbumsOfTheKeylessSourcesAndTheChoice)
{
    TestHttpServer server;
    ASSERT_TRUE(server.start());
    server.route(QStringLiteral("/ws/2/release"), AlbumSourceTestKit::json(kSearch));
    server.route(QStringLiteral("/ws/2/release/") + ReleaseID, AlbumSourceTestKit::json(kRelease));
    server.route(QStringLiteral("/api/get"), AlbumSourceTestKit::json("{\"statusCode\":404}", 404));
    server.route(QStringLiteral("/api/search"), AlbumSourceTestKit::json(lrclibSearch()));

    const QString root = server.url(QStringLiteral("")).toString();
    const QString resourcePath = writeResources(root, QStringLiteral("lookup-resources"));
    ASSERT_FALSE(resourcePath.isEmpty());
    const Lookup cli =
        runLookup(resourcePath,
                  QStringLiteral("--artist|Quiet Engines|--title|Slow Tide|--album|Paper Lanterns|"
                                 "--sources|MusicBrainzInterface,LrclibInterface|--json")
                      .split(QLatin1Char('|')),
                  60000);
    ASSERT_TRUE(cli.ended);
    ASSERT_EQ(cli.exitCode, 0) << cli.err.toStdString();

    const QJsonObject answer = QJsonDocument::fromJson(cli.out).object();
    QJsonObject fromMusicBrainz, fromLrclib;
    for (const QJsonValue& value : answer.value(QStringLiteral("albums")).toArray()) {
        const QString source = value.toObject().value(QStringLiteral("source")).toString();
        if (source == QLatin1String("musicbrainz"))
            fromMusicBrainz = value.toObject();
        if (source == QLatin1String("lrclib"))
            fromLrclib = value.toObject();
    }
    ASSERT_FALSE(fromMusicBrainz.isEmpty()) << QJsonDocument(answer).toJson().toStdString();
    EXPECT_EQ(fromMusicBrainz.value(QStringLiteral("name")).toString(), QStringLiteral("Paper Lanterns"));
    EXPECT_EQ(fromMusicBrainz.value(QStringLiteral("year")).toString(), QStringLiteral("2003"));
    EXPECT_EQ(fromMusicBrainz.value(QStringLiteral("tracks")).toArray().size(), 2);
    // The cover comes from the cover-art archive's address for the release.
    EXPECT_TRUE(fromMusicBrainz.value(QStringLiteral("artworkURL"))
                    .toString()
                    .startsWith(root + QStringLiteral("/cover/") + ReleaseID));
    ASSERT_FALSE(fromLrclib.isEmpty()) << QJsonDocument(answer).toJson().toStdString();
    EXPECT_EQ(fromLrclib.value(QStringLiteral("lyrics")).toArray().size(), 1);

    const QJsonObject chosen = answer.value(QStringLiteral("chosen")).toObject();
    EXPECT_EQ(chosen.value(QStringLiteral("name")).toString(), QStringLiteral("Paper Lanterns"));
    EXPECT_EQ(chosen.value(QStringLiteral("lyrics")).toArray().size(), 1);
    EXPECT_GE(server.requestCount(QStringLiteral("/ws/2/release/") + ReleaseID), 1);
}

// Servers that send their answer at a byte a second, ask for a wait of more
// than a day, or never end their answer: the lookup still ends, and says on
// standard error which server failed and why.
TEST(LookupCommandTest, HostileServersCannotHoldALookupOpen)
{
    Response slow = AlbumSourceTestKit::json("{\"count\":0,\"releases\":[]}" + QByteArray(200, ' '));
    slow.chunkSize = 1;
    slow.chunkDelayMs = 1000;
    Response endless = AlbumSourceTestKit::json(QByteArray(64 * 1024, ' '));
    endless.endlessChunks = true;
    endless.chunkDelayMs = 1;
    struct Row
    {
        const char* name;
        Response response;
        int deadlineSeconds; // the setting "httpDeadlineSeconds"; 0 leaves it out
        QString messageKey;
        qint64 number; // the seconds or megabytes the message names
    };
    const Row rows[] = {
        {"a byte a second", slow, 3, QStringLiteral("ErrorHostTimedOut"), 3},
        {"Retry-After 100000", Response::text("busy", "text/plain", 429).header("Retry-After", "100000"), 0,
         QStringLiteral("ErrorHostAsksToWait"), 100000},
        {"endless chunked body", endless, 0, QStringLiteral("ErrorAnswerTooLarge"), 16},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        TestHttpServer server;
        ASSERT_TRUE(server.start());
        server.route(QStringLiteral("/ws/2/release"), row.response);
        const QString resourcePath = writeResources(server.url(QStringLiteral("")).toString(),
                                                    QStringLiteral("hostile-") + QLatin1String(row.name));
        ASSERT_FALSE(resourcePath.isEmpty());
        // A home of its own: its settings, and an empty web cache.
        const QString home =
            TestSupport::scratchFolder() + QStringLiteral("/hostile-home-") + QLatin1String(row.name);
        QDir(home).removeRecursively();
        QDir().mkpath(home);
        if (row.deadlineSeconds > 0)
            QSettings(home + QStringLiteral("/.config/Wendmark/Quillbeat.conf"), QSettings::IniFormat)
                .setValue(QStringLiteral("httpDeadlineSeconds"), row.deadlineSeconds);

        const Lookup cli = runLookup(
            resourcePath,
            QStringLiteral("--artist|Quiet Engines|--album|Paper Lanterns|--sources|MusicBrainzInterface")
                .split(QLatin1Char('|')),
            30000, home);
        if (!cli.ended) {
            ADD_FAILURE() << row.name << ": the lookup was still running after 30 s";
            continue;
        }
        const QString err = QString::fromUtf8(cli.err + cli.out);
        // The one source asked failed: said, and ended with status 4.
        EXPECT_EQ(cli.exitCode, 4) << row.name << ": " << err.toStdString();
        EXPECT_TRUE(
            err.contains(LocalizedStrings::format(row.messageKey, QStringLiteral("127.0.0.1"), row.number)))
            << row.name << ": " << err.toStdString();
        EXPECT_EQ(server.requestCount(QStringLiteral("/ws/2/release")), 1) << row.name;
    }
}
