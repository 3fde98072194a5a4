// `quillbeat-cli lookup` run as its own process against the local server:
// the sources' addresses come from a resource file named by
// QUILLBEAT_RESOURCES, as a user would redirect them.
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

const QString ReleaseID = QStringLiteral("bbbbbbbb-1111-2222-3333-444444444444");

QByteArray json(const QJsonValue& value)
{
    return value.isArray() ? QJsonDocument(value.toArray()).toJson()
                           : QJsonDocument(value.toObject()).toJson();
}

QByteArray musicBrainzSearch()
{
    const QJsonObject entry{
        {QStringLiteral("id"), ReleaseID},
        {QStringLiteral("title"), QStringLiteral("Paper Lanterns")},
        {QStringLiteral("status"), QStringLiteral("Official")},
        {QStringLiteral("artist-credit"),
         QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("Quiet Engines")}}}},
        {QStringLiteral("release-group"),
         QJsonObject{{QStringLiteral("id"), QStringLiteral("g1")},
                     {QStringLiteral("primary-type"), QStringLiteral("Album")}}}};
    return json(QJsonObject{{QStringLiteral("count"), 1}, {QStringLiteral("releases"), QJsonArray{entry}}});
}

QByteArray musicBrainzRelease()
{
    QJsonArray tracks;
    const QStringList names = {QStringLiteral("First Light"), QStringLiteral("Slow Tide")};
    for (int i = 0; i < names.size(); ++i)
        tracks.append(
            QJsonObject{{QStringLiteral("position"), i + 1},
                        {QStringLiteral("title"), names.at(i)},
                        {QStringLiteral("recording"), QJsonObject{{QStringLiteral("title"), names.at(i)}}}});
    return json(QJsonObject{
        {QStringLiteral("id"), ReleaseID},
        {QStringLiteral("title"), QStringLiteral("Paper Lanterns")},
        {QStringLiteral("date"), QStringLiteral("2003-04-05")},
        {QStringLiteral("artist-credit"),
         QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("Quiet Engines")}}}},
        {QStringLiteral("genres"), QJsonArray{QJsonObject{{QStringLiteral("name"), QStringLiteral("ambient")},
                                                          {QStringLiteral("count"), 2}}}},
        {QStringLiteral("cover-art-archive"), QJsonObject{{QStringLiteral("front"), true}}},
        {QStringLiteral("media"),
         QJsonArray{QJsonObject{{QStringLiteral("position"), 1}, {QStringLiteral("tracks"), tracks}}}}});
}

QByteArray lrclibSearch()
{
    QString lyrics;
    for (int i = 1; i <= 8; ++i)
        lyrics += QStringLiteral("The tide comes slowly over line %1\n").arg(i);
    return json(QJsonArray{QJsonObject{{QStringLiteral("id"), 7},
                                       {QStringLiteral("trackName"), QStringLiteral("Slow Tide")},
                                       {QStringLiteral("artistName"), QStringLiteral("Quiet Engines")},
                                       {QStringLiteral("albumName"), QStringLiteral("Paper Lanterns")},
                                       {QStringLiteral("duration"), 200},
                                       {QStringLiteral("instrumental"), false},
                                       {QStringLiteral("plainLyrics"), lyrics}}});
}

QString plistString(const QString& text)
{
    QString escaped = text;
    escaped.replace(QLatin1Char('&'), QStringLiteral("&amp;"));
    return QStringLiteral("<string>") + escaped + QStringLiteral("</string>");
}

// A resource file sending the keyless album and lyrics sources to `root`.
QString writeResources(const QString& root, const QString& name)
{
    const QString resources =
        QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
                       "<key>res_MusicBrainzInterface</key><dict>"
                       "<key>releaseSearchURL</key>%1<key>recordingSearchURL</key>%2"
                       "<key>releaseLookupURL</key>%3<key>coverArtURL</key>%4"
                       "<key>minIntervalSeconds</key><integer>0</integer></dict>\n"
                       "<key>res_LrclibInterface</key><dict><key>getURL</key>%5<key>searchURL</key>%6"
                       "<key>minIntervalSeconds</key><integer>0</integer></dict>\n"
                       "</dict>\n</plist>\n")
            .arg(plistString(root + QStringLiteral("/ws/2/release")),
                 plistString(root + QStringLiteral("/ws/2/recording")),
                 plistString(root + QStringLiteral("/ws/2/release/%@?fmt=json")),
                 plistString(root + QStringLiteral("/cover/%@/front-%@")),
                 plistString(root + QStringLiteral("/api/get")),
                 plistString(root + QStringLiteral("/api/search")));
    const QString path = TestSupport::scratchFolder() + QLatin1Char('/') + name + QStringLiteral(".plist");
    return TestSupport::writeFile(path, resources.toUtf8()) ? path : QString();
}

} // namespace

TEST(LookupCommandTest, ShowsTheAlbumsOfTheKeylessSourcesAndTheChoice)
{
    TestHttpServer server;
    ASSERT_TRUE(server.start());
    server.route(QStringLiteral("/ws/2/release"),
                 TestHttpServer::Response::text(musicBrainzSearch(), "application/json"));
    server.route(QStringLiteral("/ws/2/release/") + ReleaseID,
                 TestHttpServer::Response::text(musicBrainzRelease(), "application/json"));
    server.route(QStringLiteral("/api/get"),
                 TestHttpServer::Response::text("{\"statusCode\":404}", "application/json", 404));
    server.route(QStringLiteral("/api/search"),
                 TestHttpServer::Response::text(lrclibSearch(), "application/json"));

    const QString root = server.url(QStringLiteral("")).toString();
    const QString resourcePath = writeResources(root, QStringLiteral("lookup-resources"));
    ASSERT_FALSE(resourcePath.isEmpty());

    QProcess cli;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert(QStringLiteral("QUILLBEAT_RESOURCES"), resourcePath);
    cli.setProcessEnvironment(env);
    cli.start(QStringLiteral(QB_CLI_PATH),
              {QStringLiteral("lookup"), QStringLiteral("--artist"), QStringLiteral("Quiet Engines"),
               QStringLiteral("--title"), QStringLiteral("Slow Tide"), QStringLiteral("--album"),
               QStringLiteral("Paper Lanterns"), QStringLiteral("--sources"),
               QStringLiteral("MusicBrainzInterface,LrclibInterface"), QStringLiteral("--json")});
    // The server answers from this thread's event loop while the program runs.
    ASSERT_TRUE(TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, 60000));
    ASSERT_EQ(cli.exitCode(), 0) << cli.readAllStandardError().toStdString();

    const QJsonObject answer = QJsonDocument::fromJson(cli.readAllStandardOutput()).object();
    const QJsonArray albums = answer.value(QStringLiteral("albums")).toArray();
    QJsonObject fromMusicBrainz, fromLrclib;
    for (const QJsonValue& value : albums) {
        const QJsonObject album = value.toObject();
        if (album.value(QStringLiteral("source")).toString() == QLatin1String("musicbrainz"))
            fromMusicBrainz = album;
        if (album.value(QStringLiteral("source")).toString() == QLatin1String("lrclib"))
            fromLrclib = album;
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
    using Response = TestHttpServer::Response;
    Response slow =
        Response::text("{\"count\":0,\"releases\":[]}" + QByteArray(200, ' '), "application/json");
    slow.chunkSize = 1;
    slow.chunkDelayMs = 1000;
    Response endless = Response::text(QByteArray(64 * 1024, ' '), "application/json");
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
        if (row.deadlineSeconds > 0) {
            QSettings settings(home + QStringLiteral("/.config/Wendmark/Quillbeat.conf"),
                               QSettings::IniFormat);
            settings.setValue(QStringLiteral("httpDeadlineSeconds"), row.deadlineSeconds);
        }

        QProcess cli;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("HOME"), home);
        for (const char* xdg : {"XDG_CONFIG_HOME", "XDG_CACHE_HOME", "XDG_DATA_HOME"})
            env.remove(QLatin1String(xdg));
        env.insert(QStringLiteral("QUILLBEAT_RESOURCES"), resourcePath);
        cli.setProcessEnvironment(env);
        cli.start(QStringLiteral(QB_CLI_PATH),
                  {QStringLiteral("lookup"), QStringLiteral("--artist"), QStringLiteral("Quiet Engines"),
                   QStringLiteral("--album"), QStringLiteral("Paper Lanterns"), QStringLiteral("--sources"),
                   QStringLiteral("MusicBrainzInterface")});
        // A bound on our own wait, so that a lookup that hangs fails the test.
        if (!TestHttpServer::waitFor([&] { return cli.state() == QProcess::NotRunning; }, 30000)) {
            cli.kill();
            cli.waitForFinished();
            ADD_FAILURE() << row.name << ": the lookup was still running after 30 s";
            continue;
        }
        const QString err = QString::fromUtf8(cli.readAllStandardError() + cli.readAllStandardOutput());
        // The one source asked failed: said, and ended with status 4.
        EXPECT_EQ(cli.exitCode(), 4) << row.name << ": " << err.toStdString();
        EXPECT_TRUE(
            err.contains(LocalizedStrings::format(row.messageKey, QStringLiteral("127.0.0.1"), row.number)))
            << row.name << ": " << err.toStdString();
        EXPECT_EQ(server.requestCount(QStringLiteral("/ws/2/release")), 1) << row.name;
    }
}
